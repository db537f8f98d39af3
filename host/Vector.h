// The host's vector of handles, the value shape of the data type "handle vector". It owns none of its handles: its
// contract tells who holds the references.
#pragma once

#include <vector>

class OMInterface;

using Vector = std::vector<OMInterface*>;
