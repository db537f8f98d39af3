// A view of an array for modules that iterate over it: an object of class `fi` on the elements of another, the root.
//
// Elements, complexity, logs and the quantizer for writes are the root's, so a write through a view is counted there
// and can make the root complex. Type and local rules are copied when the view is made; the view has its own cursor,
// which starts at 0. Copying a view to a `fi` makes an independent array. The root must outlive its views, although
// they keep its elements alive. Resizing the root, or recreating its real elements for another precision, invalidates
// its views. No view may be resized.
#pragma once

#include "fi/fi.h"

class TOLVANE_API FiReference : public fi {
 public:
    /// Raises "fixedpoint:fi:nocomplexslopebias".
    explicit FiReference(fi& root);
    /// Views the same elements as the other, with the same root; of a column view, as many elements from the start of
    /// the root.
    FiReference(FiReference& other);
    ~FiReference() override;

    using fi::operator=;
    /// Assigns the current element as `fi` does. If the other has a different root, this becomes a view of that root,
    /// with the size, type and rules of the other.
    FiReference& operator=(const FiReference& other);

    void setIsReal(bool isReal) override;
    const quantizer& getAssignmentQuantizer() const override;
    void coordinateComplexity(bool makeComplex, unsigned precision) override;
    bool isreal() const override;
    bool iscomplex() const override;
    const qlogger& getQlogger() const override;

 protected:
    fi& getRoot() const { return *mRoot; }

 private:
    fi* mRoot;
};
