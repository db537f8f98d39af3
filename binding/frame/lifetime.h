// Whether the module has been stopped for good. Methods of objects that outlive the stop may ask for class records that
// have ended; they get an error then.
#pragma once

namespace lifetime {

void setStopped();
/// Raises "fixedpoint:module:stopped".
void errorIfStopped();

}  // namespace lifetime
