// A view of an array for modules that walk through it: an object of class `fi` over the elements of another, the root.
//
// Elements, complexity, logs and the quantizer of writes are the root's, so a write through a view counts there and can
// make the root complex. Type and local rules are copies from when the view was made; the cursor is the view's own and
// starts at 0. A copy as a `fi` is an array of its own. The root must outlive its views, while its elements outlive it
// in them. A root that is resized, or whose real elements are made anew for another precision, has no more use for its
// views, and no view may be resized.
#pragma once

#include "fi/fi.h"

class TOLVANE_API FiReference : public fi {
 public:
    /// Raises "fixedpoint:fi:nocomplexslopebias".
    explicit FiReference(fi& root);
    /// Views what the other views, with its root; of a column view the size, counted from the start of the root.
    FiReference(FiReference& other);
    ~FiReference() override;

    using fi::operator=;
    /// Assigns the current element as `fi` does, and takes the root of the other: from another root, that view as it
    /// stands.
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
