// The accessors of any body.
#pragma once

#include "numbers/numberrepbody.h"

bool numberrepbody::isDouble() const {
    return mKind == numbertype::doublenumber;
}
void numberrepbody::incrcount() {
    ++mState->referenceCount;
}
void numberrepbody::decrcount() {
    --mState->referenceCount;
}
std::uint64_t numberrepbody::getcount() const {
    return mState->referenceCount;
}
bool numberrepbody::sharesArrayOf(const numberrepbody& other) const {
    return mState == other.mState;
}
std::uint64_t numberrepbody::numel() const {
    return mState->elementCount;
}
std::uint32_t numberrepbody::get_stored_precision() const {
    return mState->storedPrecision;
}
void numberrepbody::setIndex(std::uint64_t index) const {
    mCursor = index;
}
std::uint64_t numberrepbody::getIndex() const {
    return mCursor;
}
numberrepbody& numberrepbody::operator[](std::uint64_t index) {
    mCursor = index;
    return *this;
}
const numberrepbody& numberrepbody::operator[](std::uint64_t index) const {
    mCursor = index;
    return *this;
}
