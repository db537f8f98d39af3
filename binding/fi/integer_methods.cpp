#include "binding/fi/methods.h"

#include <memory>
#include <utility>

#include "binding/fi/new_fi.h"

namespace tolvane::detail {

void giveIntArray(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    hvArrayOwner chunks(object.getIntArray(fi::IntArrayChunkMode::Natural, fi::IntArrayDimensionMode::First));
    if (call.wantedResults() > 1) {
        call.results[1] = hvCreateDoubleScalar(object.isFixed() ? object.numChunks() : 1.0);
    }
    call.results[0] = chunks.release();
    *call.resultCount = call.wantedResults();
}

void giveSimFi(const MethodCall& call) {
    auto made = std::make_unique<fi>();
    FiOMClass::setNumericType(*made, call.object<fi::NumericType>(0));
    made->setDravelinIntArray(call.array(1));
    giveFi(call, std::move(made));
}

}  // namespace tolvane::detail
