#include "fi/FiReference.h"

FiReference::FiReference(fi& root) : fi(root, embedded::CopyIndex::tag), mRoot(&root) {
    // The copy of the root's log would be written to the log map a second time.
    fi::getAssignmentQuantizer().getQlogger().reset();
}

FiReference::FiReference(FiReference& other) : fi(other, embedded::CopyIndex::tag), mRoot(other.mRoot) {
    fi::getAssignmentQuantizer().getQlogger().reset();
}

FiReference::~FiReference() = default;

// Assigning a view to itself is sound, as it is for its base. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
FiReference& FiReference::operator=(const FiReference& other) {
    fi::operator=(other);
    if (mRoot != other.mRoot) {
        takeView(other);
        mRoot = other.mRoot;
    }
    return *this;
}

void FiReference::setIsReal(bool isReal) {
    mRoot->setIsReal(isReal);
    shareImagOf(*mRoot);
}

// The root's own quantizer, as it is: it is updated from the global rules when the root writes.
const quantizer& FiReference::getAssignmentQuantizer() const {
    return *mAssignmentQuantizerRef;
}

void FiReference::coordinateComplexity(bool makeComplex, unsigned precision) {
    mRoot->coordinateComplexity(makeComplex, precision);
    shareImagOf(*mRoot);
}

// Every access to an imaginary part first makes one of these two queries, and a root that has become complex may have
// new imaginary parts.
bool FiReference::isreal() const {
    const bool isReal = mRoot->isreal();
    shareImagOf(*mRoot);
    return isReal;
}

bool FiReference::iscomplex() const {
    const bool isComplex = mRoot->iscomplex();
    shareImagOf(*mRoot);
    return isComplex;
}

const qlogger& FiReference::getQlogger() const {
    return mRoot->getQlogger();
}
