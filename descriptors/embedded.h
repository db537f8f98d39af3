// Shared by all classes of the package "embedded": the package object, the enumerations that several classes use and
// their host data types, the feature switches with their host commands, and the bridge from the host's last error to an
// exception.
//
// Everything is static. The switches are plain bools: only the interpreter thread writes them; any thread may read
// them. The tag enumerations of the number kinds come from `embeddedNumberTags`, since the layer below also needs them.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>

#include "host/export.h"
#include "numbers/tags.h"

class EnumStringType;
class OMApplication;
class OMClass;
class OMInterface;
struct hvArray;

class TOLVANE_API embedded : public embeddedNumberTags {
 public:
    enum class QuantizerModeEnum : std::int32_t {
        Double = 0,
        Float = 1,
        Fixed = 2,
        Single = 3,
        Ufixed = 4,
        None = 5,
        Boolean = 6,
        ScaledDouble = 7,
        UnsignedScaledDouble = 8
    };
    enum class RoundModeEnum : std::int32_t { Ceil = 0, Convergent = 1, Fix = 2, Floor = 3, Nearest = 4, Round = 5 };
    enum class OverflowModeEnum : std::int32_t { Saturate = 0, Wrap = 1 };
    enum class ScalingEnum : std::int32_t { BinaryPoint = 0, SlopeBias = 1 };
    enum class OperationTypeEnum : std::int32_t {
        Unspecified = 0,
        Assignment = 1,
        Product = 2,
        Sum = 3,
        Difference = 4
    };
    enum class LogTypeEnum : std::int32_t { Off = 0, WriteLogMap = 1 };
    /// Selects the constructor that copies the current element of an array.
    enum class CopyElement { tag };

    embedded() = delete;

    static const char* getEmbeddedPackageName();
    /// Returns the package object, found by name or made on the first call; the application manager owns it.
    static OMApplication* getEmbeddedPackage();
    /// Passes the package, if it exists, to OMApplicationManager::removeApplication, which destroys it.
    static void terminateEmbeddedPackage();

    /// Each finds its host data type by name on the first call, or makes and registers it; the type repository owns it.
    static EnumStringType* getQuantizerModeEnum();
    static EnumStringType* getRoundModeEnum();
    static EnumStringType* getOverflowModeEnum();
    static EnumStringType* getScalingEnum();
    static EnumStringType* getOperationTypeEnum();

    static bool getFeatureFiTagLogging() { return s_feature_fi_tag_logging; }
    static void setFeatureFiTagLogging(bool on) { s_feature_fi_tag_logging = on; }
    static bool getFeatureFiStackTraceLogging() { return s_feature_fi_stack_trace_logging; }
    static void setFeatureFiStackTraceLogging(bool on) { s_feature_fi_stack_trace_logging = on; }
    static bool getFeatureFi33PlusMemoryFootprint() { return s_feature_fi_33plus_memory_footprint; }
    static void setFeatureFi33PlusMemoryFootprint(bool on) { s_feature_fi_33plus_memory_footprint = on; }
    static bool getFeatureNumericTypeUnspecifiedSign() { return s_feature_numerictype_unspecified_sign; }
    static void setFeatureNumericTypeUnspecifiedSign(bool on) { s_feature_numerictype_unspecified_sign = on; }
    static bool getFeatureFiRealOnlySlopeBias() { return s_feature_fi_realonly_slope_bias; }
    static void setFeatureFiRealOnlySlopeBias(bool on) { s_feature_fi_realonly_slope_bias = on; }
    static bool getFeatureFimathLessFis() { return s_feature_fimathless_fis; }
    static void setFeatureFimathLessFis(bool on) { s_feature_fimathless_fis = on; }
    /// Shares its switch with FimathLessFis, so a change of either changes both.
    static bool getFeatureFiWarnForDataTypeMode() { return s_feature_fimathless_fis; }
    static void setFeatureFiWarnForDataTypeMode(bool on) { s_feature_fimathless_fis = on; }

    static bool getLogWithStackTrace() { return s_log_with_stack_trace; }
    static void setLogWithStackTrace(bool on) { s_log_with_stack_trace = on; }

    /// Host commands, one per feature: with an input, store the setting (0, 1, "off", "on" in any case); with no input
    /// or one output, store the state as a new 1-by-1 double in outputs[0], which must exist in both cases. Raise the
    /// host's standard errors 3 (more than one output), 1 (more than one input), 2 (negative input count), and
    /// "VELMAR:doubleOrCharArgRequired" or "VELMAR:mustBe01OffOn" for a bad setting, which changes nothing.
    static void setFiTagLogging(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    static void setFiStackTraceLogging(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    static void setFi33PlusMemoryFootprint(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    static void setNumericTypeUnspecifiedSign(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    static void setFiRealOnlySlopeBias(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    static void setFimathLessFis(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    static void setFiWarnForDataTypeMode(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);

    struct Feature {
        const char* name;
        int registeredDefault;
        void (*command)(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs);
    };
    /// Lists the features in the order in which they are registered with the host.
    static std::span<const Feature> getFeatures();
    /// Registers them by hfRegisterFeature; a second call changes nothing.
    static void registerFeatures();

    /// Reads 0 or 1 from a double (truncated), a logical or a text; raises as the host commands do. An unknown text
    /// means `defaultSetting`.
    static int readSetting(const hvArray* setting, int defaultSetting);

    /// Raises the host's last error; with the id "fixedpoint:embedded:throw_last_error" if it has none.
    [[noreturn]] static void throw_last_error();
    /// Calls a host function; an error is kept for throw_last_error and its status returned (0 is success). The host's
    /// trap flag stays set; its error mode is restored. The outputs are new arrays that the caller owns.
    static int call_VELMAR_with_trap(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs,
                                     const char* name);

    /// Returns the class of the object in a host value, or null for a plain array; the package owns the class.
    static OMClass* hvArray2OMClass(const hvArray* value);
    /// Returns the imaginary part of the first element; 0.0 for a non-numeric, real or empty array.
    static double getScalarImag(const hvArray* value);
    /// Returns whether the object's class is the named class or a descendant; false for null and for an unknown class.
    static bool checkIsa(OMInterface* object, const char* packageName, const char* className);
    /// Returns a new host value with an internal reference to the object that `value` holds; the caller owns it. A
    /// value without an object gives an empty array.
    static hvArray* external_to_internal_reference(hvArray* value);
    /// Turns one external reference of the object that `value` holds into an internal one; harmless without an object.
    static void externalToInternal(const hvArray* value);

 private:
    static std::atomic<bool> s_feature_fi_tag_logging;
    static std::atomic<bool> s_feature_fi_stack_trace_logging;
    static std::atomic<bool> s_feature_fi_33plus_memory_footprint;
    static std::atomic<bool> s_feature_numerictype_unspecified_sign;
    static std::atomic<bool> s_feature_fi_realonly_slope_bias;
    static std::atomic<bool> s_feature_fimathless_fis;
    static std::atomic<bool> s_log_with_stack_trace;
};
