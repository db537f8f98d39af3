// The list of the rounding rules. No include guard: included after numbers/rounding_rules.inl.h, in its namespace;
// needs numbers/rule_list.h outside.

/// All rules, in the order of embedded::RoundModeEnum. Every table of functions or loops is made from this list.
using RoundingRules = RuleList<CeilRule, ConvergentRule, FixRule, FloorRule, NearestRule, RoundRule>;
