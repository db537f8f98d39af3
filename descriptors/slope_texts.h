// What is said of slopes that no type has; number types and rules have an id each for it.
#pragma once

namespace tolvane::detail::slopetexts {

constexpr const char* kInvalidFimathSetting = "TolvaneKit:fimathInvalidSetting";
constexpr const char* kInvalidFactor =
    "Invalid SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater than or equal to 1 and less "
    "than 2";
constexpr const char* kInvalidSlope =
    "Invalid total slope specified; the total slope must be greater than 0 and finite";

}  // namespace tolvane::detail::slopetexts
