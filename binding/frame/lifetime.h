// Whether the module has been stopped for good. Methods of objects that outlive the stop may request destroyed class
// records; they get an error.
#pragma once

namespace tolvane::detail::lifetime {

void setStopped();
/// Raises "fixedpoint:module:stopped".
void errorIfStopped();

}  // namespace tolvane::detail::lifetime
