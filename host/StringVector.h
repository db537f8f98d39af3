// The host's vector of owned strings, the value form of the data type "string vector".
#pragma once

#include <string>
#include <vector>

using StringVector = std::vector<std::string>;
