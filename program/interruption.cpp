#include "program/interruption.h"

#include <utility>

#include "numbers/interruption.h"
#include "program/error.h"

namespace tolvane {

interruption::interruption(std::function<bool()> ask)
    : mInterruption(std::make_unique<detail::Interruption>(std::move(ask), [] {
          throw error("tolvane:interrupted",
                      "The operation was interrupted and has changed nothing. Call it again to do it.");
      })) {}

interruption::~interruption() = default;

}  // namespace tolvane
