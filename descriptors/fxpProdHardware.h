// The target hardware of generated code: kind of device, bits of the C integer types, rounding of integer division.
//
// An unset size is 0; it may be read, and a description may be copied before everything is set.
#pragma once

#include <cstdint>

#include "host/export.h"

enum class ProdHWDeviceType : std::int32_t { Microprocessor = 0, ASIC = 1 };
enum class FxpHardwareRounding : std::int32_t { Undefined = 0, Zero = 1, Floor = 2 };

class TOLVANE_API fxpProdHardware {
 public:
    fxpProdHardware() = default;
    fxpProdHardware(ProdHWDeviceType deviceType, int bitsPerChar, int bitsPerShort, int bitsPerInt, int bitsPerLong,
                    FxpHardwareRounding integerDivisionRounding)
        : mDeviceType(deviceType),
          mBitPerChar(bitsPerChar),
          mBitPerShort(bitsPerShort),
          mBitPerInt(bitsPerInt),
          mBitPerLong(bitsPerLong),
          mIntDivRndMode(integerDivisionRounding) {}

    /// A description without sizes: an ASIC has words of any size, so its size fields stay 0.
    static fxpProdHardware getASICTypeHardware() { return getASICTypeHardware(FxpHardwareRounding::Undefined); }
    static fxpProdHardware getASICTypeHardware(FxpHardwareRounding integerDivisionRounding) {
        return {ProdHWDeviceType::ASIC, integerDivisionRounding};
    }

    /// Makes the device a microprocessor with these sizes in bits.
    void setMicropcessorWithContainerSizes(int bitsPerChar, int bitsPerShort, int bitsPerInt, int bitsPerLong) {
        mDeviceType = ProdHWDeviceType::Microprocessor;
        mBitPerChar = bitsPerChar;
        mBitPerShort = bitsPerShort;
        mBitPerInt = bitsPerInt;
        mBitPerLong = bitsPerLong;
    }

    ProdHWDeviceType getHWDeviceType() const { return mDeviceType; }
    int getBitPerChar() const { return mBitPerChar; }
    int getBitPerShort() const { return mBitPerShort; }
    int getBitPerInt() const { return mBitPerInt; }
    int getBitPerLong() const { return mBitPerLong; }
    FxpHardwareRounding getHWIntDivRndMode() const { return mIntDivRndMode; }
    void setHWIntDivRndMode(FxpHardwareRounding rounding) { mIntDivRndMode = rounding; }

 private:
    fxpProdHardware(ProdHWDeviceType deviceType, FxpHardwareRounding integerDivisionRounding)
        : mDeviceType(deviceType), mIntDivRndMode(integerDivisionRounding) {}

    ProdHWDeviceType mDeviceType = ProdHWDeviceType::Microprocessor;
    std::int32_t mBitPerChar = 0;
    std::int32_t mBitPerShort = 0;
    std::int32_t mBitPerInt = 0;
    std::int32_t mBitPerLong = 0;
    FxpHardwareRounding mIntDivRndMode = FxpHardwareRounding::Undefined;
};
