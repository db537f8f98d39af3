// A client of the fixed-point core that ignores all reports and knows the target hardware.
//
// Held by value where the generic core runs on scaled doubles. Copies share the hardware description.
#pragma once

#include <boost/shared_ptr.hpp>
#include <utility>

#include "descriptors/FxpCoreClientInterface.h"
#include "descriptors/fxpProdHardware.h"

class TOLVANE_API LocalFxpClient : public FxpCoreClientInterface {
 public:
    explicit LocalFxpClient(boost::shared_ptr<fxpProdHardware> hardware) : mHardware(std::move(hardware)) {}

    void handleOverflow() override {}
    void handleUnderflow() override {}
    void handlePrecisionLoss() override {}
    void handleDivisionByZero() override {}
    void handleUnsupportedType() override {}
    fxpProdHardware* getProdHardware() const override { return mHardware.get(); }

 private:
    boost::shared_ptr<fxpProdHardware> mHardware;
};
