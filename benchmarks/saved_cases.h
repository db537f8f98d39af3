// The cases of bulk_bench that save and load.
#pragma once

/// Registers them; what they need is made here and lives on.
void registerSaving();
