// The cases of bulk_bench that save and load.
#pragma once

/// Registers them, together with the data that they need.
void registerSaving();
