// A product register that waits is, when somebody asks for it, as if it had been made at once: whatever changed
// meanwhile, asking before and after the change shows the same register, logs and log map.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>

#include "logging/filog.h"
#include "tests/support/errors.h"
#include "tests/support/logs_of_fi.h"
#include "tests/support/product_oracle.h"

namespace {

class Owner : public fi {
 public:
    explicit Owner(const fi& source) : fi(source) {}
    fi& productRegister() const { return getProductRegister(); }
};

/// Process-wide settings as in a new process, before and after.
struct LateRegister : testing::Test {
    LateRegister() { restore(); }
    ~LateRegister() override { restore(); }
    static void restore() {
        fi::setLogging(false);
        qlogger::setLogType(embedded::LogTypeEnum::Off);
        embedded::setFeatureFiTagLogging(false);
        filog::clearglobalfilogs();
        fimath::resetGlobalFimathToFactory();
        number::setDefaultPrecision(52, false);
    }
};

void show(std::ostream& out, const qlogger& log) {
    out << log.createFilogKey() << ' ' << logOf(log) << (log.getMax().asDouble() ? " doubles" : " floats")
        << log.getMax().getprecision() << '\n';
}

void show(std::ostream& out, const fi& reg) {
    out << snapshotOf(reg) << (reg.isreal() ? " real" : " complex") << ", precision " << reg.real().getprecision()
        << ", rules " << reg.getFimath().toString() << "\nquantizer "
        << static_cast<int>(reg.getAssignmentQuantizer().getRoundMode())
        << static_cast<int>(reg.getAssignmentQuantizer().getOverflowMode()) << '\n';
}

struct Change {
    const char* name;
    std::function<void(Owner& owner)> apply;
};

const Change kChanges[] = {
    {"none", [](Owner&) {}},
    {"the global rules", [](Owner&) { fimath::setGlobalFimath(rulesOf(Rounding::ceil, true)); }},
    {"own rules", [](Owner& owner) { owner.setFimath(rulesOf(Rounding::floor, true)); }},
    {"locality", [](Owner& owner) { owner.setFimathIsLocal(!owner.getFimathIsLocal()); }},
    {"the tag", [](Owner& owner) { owner.setTag("later"); }},
    {"the type", [](Owner& owner) { owner.setWordLength(20); }},
    {"the default precision", [](Owner&) { number::setDefaultPrecision(80, true); }},
    {"complexity", [](Owner& owner) { owner.coordinateComplexity(true, 0); }},
    {"the log", [](Owner& owner) { owner.resetLogging(); }},
    {"another product",
     [](Owner& owner) { FiOwner(&owner.times(scalar(0.5, fixedType(true, 6, 5), rulesOf(), false))); }},
    {"a refused product",
     [](Owner& owner) {
         EXPECT_EQ(raisedBy([&] {
                       owner.times(zeros({3, 3}, fixedType(true, 16, 15), owner.getFimath()));
                   }).id,
                   "fixedpoint:fi:dimagree");
     }},
};

/// All that can be seen after a product and a change, and then after the end of the operands.
std::string seen(const fi& left, const fi& right, const Change& change, bool asksFirst, bool copies) {
    std::ostringstream out;
    {
        Owner owner(left);
        owner.setTag("first");
        const FiOwner result(&owner.times(right));
        out << snapshotOf(*result) << logOf(result->getQlogger()) << '\n';
        EXPECT_TRUE(owner.isProductRegisterInitialized());
        if (asksFirst) {
            owner.getproductQlogger();
        }
        change.apply(owner);
        const auto copy = copies ? std::make_unique<Owner>(owner) : nullptr;
        const Owner& asked = copies ? *copy : owner;
        show(out, asked.getproductQlogger());
        show(out, asked.getproductregsumQlogger());
        show(out, asked.productRegister());
        show(out, asked * asked);
        EXPECT_EQ(&asked.getproductQlogger(), &asked.productRegister().getQlogger());
        asked.getproductQlogger().setNoverflows(77);
        EXPECT_EQ(asked.productRegister().getNoverflows(), 77U);
        embedded::setFeatureFiTagLogging(true);
        qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    }
    for (const auto& [key, record] : filog::getLogMap()) {
        out << key << ' ' << record.getMaxLog() << ' ' << record.getMinLog() << ' ' << record.getNumberOfOverflows()
            << '\n';
    }
    LateRegister::restore();
    return out.str();
}

}  // namespace

TEST_F(LateRegister, IsAsIfMadeAtOnce) {
    const NumericType type = fixedType(true, 16, 15);
    const fimath rules = mathRules(kSpecify, kSpecify, 12, 10, 14, 10);
    for (const Change& change : kChanges) {
        for (unsigned setting = 0; setting < 32; ++setting) {
            const auto has = [setting](unsigned bit) { return ((setting >> bit) & 1U) != 0; };
            fi left = has(0) ? column({0.5, -0.7}, {0.25, 0.1}, type, rules) : column({0.5, -0.7}, type, rules);
            left.setFimathIsLocal(has(1));
            fi right = column({-0.3, 0.7}, type, rules);
            right.setFimathIsLocal(has(1) && has(2));
            const auto run = [&](bool asksFirst) {
                fi::setLogging(has(3));
                return seen(left, right, change, asksFirst, has(4));
            };
            const std::string wanted = run(true);
            EXPECT_EQ(run(false), wanted) << "after a change of " << change.name << ", setting " << setting;
        }
    }
}

TEST_F(LateRegister, WritesItsLogWhenItWouldHaveBeenDestroyed) {
    fi::setLogging(true);
    embedded::setFeatureFiTagLogging(true);
    qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    const NumericType type = fixedType(true, 16, 15);
    const auto writtenProducts = [] {
        const auto record = filog::getLogMap().find("p|Product|s32,30");
        return record == filog::getLogMap().end() ? 0.0 : record->second.getMaxLog();
    };
    auto left = std::make_unique<fi>(column({0.5, 0.25}, type));
    left->setTag("p");
    FiOwner(&left->times(scalar(0.5, type)));
    filog::clearglobalfilogs();  // the result wrote its own
    FiOwner result(&left->times(scalar(0.25, type)));
    EXPECT_EQ(writtenProducts(), 0.25);  // the new register took the place of the first one
    filog::clearglobalfilogs();
    EXPECT_EQ(left->getproductQlogger().getMaxAsDouble(), 0.125);
    EXPECT_EQ(writtenProducts(), 0.0);  // asking for the register isn't its end
    left.reset();
    EXPECT_EQ(writtenProducts(), 0.125);
}
