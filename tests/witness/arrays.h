// Programs on arrays: a pool of them, and two operands `a` and `b` for each step.
#pragma once

#include <memory>
#include <vector>

#include "tests/witness/program.h"

/// A row's requirements for its operands.
enum Wants : int {
    kOne = 0,
    kPair = 1,           // b of the size of a, or a scalar on either side
    kInner = 2,          // b with as many rows as a has columns
    kVectors = 4,        // both vectors, b short
    kSameType = 8,       // b of the type of a
    kElement = 16,       // current elements: neither is empty
    kRestructures = 32,  // a changes in size, type or rules, so neither it nor b may be a view
    kReal = 128,         // a real, with few exceptions
    kFinite = 64,        // finite entries: results of others are not part of the contract
};

struct ArrayCase {
    ArrayCase(Draw& draw, Transcript& out);
    ~ArrayCase();

    void run();
    void prepare(int wants);
    void finish();

    /// Makes an array of drawn type and values.
    std::unique_ptr<fi> makeArray(const Sizes& sizes) { return makeArray(sizes, theme.type(draw)); }
    std::unique_ptr<fi> makeArray(const Sizes& sizes, const NumericType& type);
    std::unique_ptr<fi> makeVector(std::uint64_t longest);

    // Show a result; the array may join the pool.
    void keep(fi* result);
    void keep(fi& result) { keep(&result); }
    void keep(std::unique_ptr<fi> result) { keep(result.release()); }
    void keep(hvArray* result);

    /// A plan of the given sizes, with values from `low` to `high`, rarely beyond.
    hvArrayOwner plan(const Sizes& sizes, double low, double high);
    /// An index of an element of `a`.
    std::uint64_t place() { return draw.below(a->numel()); }

    Draw& draw;
    Transcript& out;
    Theme theme;
    fi* a = nullptr;
    fi* b = nullptr;

 private:
    fi& anyArray() { return *pool[draw.below(pool.size())]; }
    fi* fitting(int wants);
    void add(std::unique_ptr<fi> made);
    void observe(const char* label, const fi& array);
    bool isPooled(const fi& array) const;

    std::vector<std::unique_ptr<fi>> pool;
    std::vector<std::unique_ptr<fi>> fresh;  // results of the step
    std::vector<std::unique_ptr<fi>> lent;   // views and other operands of the step
};

using ArrayRow = Row<ArrayCase>;
std::span<ArrayRow> arithmeticRows();
std::span<ArrayRow> elementRows();
std::span<ArrayRow> rootRows();
std::span<ArrayRow> orderRows();
std::span<ArrayRow> shapeRows();
std::span<ArrayRow> bitRows();
std::span<ArrayRow> integerRows();
std::span<ArrayRow> textRows();
std::span<ArrayRow> subscriptRows();
std::span<ArrayRow> assignmentRows();
std::span<ArrayRow> typeRows();
std::span<ArrayRow> ruleRows();
std::span<ArrayRow> logRows();
std::span<ArrayRow> constructionRows();
