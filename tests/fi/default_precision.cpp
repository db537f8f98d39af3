// Constructors leave the precision of their words behind as the default one, by which logs round what they are given.
// Each test starts with that of a new process, whatever ran before it.
#include <gtest/gtest.h>

#include "numbers/number.h"

namespace {

class DefaultPrecision : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override { number::setDefaultPrecision(52, false); }
};

[[maybe_unused]] const bool isListening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new DefaultPrecision);  // which owns it
    return true;
}();

}  // namespace
