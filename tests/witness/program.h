// A case is a random program: some steps on a few objects, each step a row of a table of operations.
//
// Rows are grouped in areas. A step picks an area and a row, lets the case provide operands that meet the row's
// requirements, runs the row and shows the outcome: results, errors, operands. Rows count their calls for the summary.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <span>

#include "host/ErrorIdException.h"
#include "host/reference/HostError.h"
#include "tests/witness/draw.h"
#include "tests/witness/observe.h"

template <class Case>
struct Row {
    const char* name;
    int wants;  // flags defined by the kind of case
    void (*run)(Case&);
    std::uint64_t weight = 4;
    std::uint64_t calls = 0;
    std::uint64_t errors = 0;
};

template <class Case>
struct Area {
    const char* name;
    std::uint64_t weight;
    std::span<Row<Case>> rows;
};

/// Runs an action and shows an error. Returns true if there was none.
template <class Action>
bool attempt(Transcript& out, Action&& action) {
    try {
        action();
        return true;
    } catch (ErrorIdException* error) {
        const std::unique_ptr<ErrorIdException> owner(error);
        out("  raised", error->getId(), error->getMessage());
    } catch (const hostref::HostError& error) {
        out("  thrown", std::string_view(error.id()), std::string_view(error.message()));
    } catch (const std::exception& error) {
        out("  exception", error.what());
    }
    return false;
}

template <class Item>
Item& drawn(Draw& draw, std::span<Item> items) {
    std::uint64_t total = 0;
    for (const Item& item : items) {
        total += item.weight;
    }
    std::uint64_t place = draw.below(total);
    for (Item& item : items) {
        if (place < item.weight) {
            return item;
        }
        place -= item.weight;
    }
    return items.front();
}

template <class Case>
void runStep(Case& program, std::span<Area<Case>> areas) {
    Row<Case>& row = drawn(program.draw, drawn(program.draw, areas).rows);
    program.out(">", row.name);
    if constexpr (requires { program.row; }) {
        program.row = row.name;
    }
    program.prepare(row.wants);
    program.out.flush();
    ++row.calls;
    if (!attempt(program.out, [&] { row.run(program); })) {
        ++row.errors;
    }
    program.finish();
}

/// One kind of case.
struct Kind {
    const char* name;
    std::uint64_t weight;
    void (*run)(Draw& draw, Transcript& out);
    /// Reports calls and errors of each row.
    void (*summarize)(void (*line)(const char* area, const char* row, std::uint64_t calls, std::uint64_t errors));
};
extern const Kind kArrayPrograms, kNumberPrograms, kDescriptionPrograms, kSessionPrograms;

/// Starts the module, so that its classes exist.
void openSession();

using SummaryLine = void (*)(const char*, const char*, std::uint64_t, std::uint64_t);
template <class Case>
void summarizeAreas(std::span<Area<Case>> areas, SummaryLine line) {
    for (const Area<Case>& area : areas) {
        for (const Row<Case>& row : area.rows) {
            line(area.name, row.name, row.calls, row.errors);
        }
    }
}
