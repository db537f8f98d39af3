// The host's vector of handles, the value form of the data type "handle vector". It doesn't own its handles; the
// contract of each use says which code holds the references.
#pragma once

#include <vector>

class OMInterface;

using Vector = std::vector<OMInterface*>;
