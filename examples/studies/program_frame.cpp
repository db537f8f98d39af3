#include "examples/studies/program_frame.h"

#include <exception>
#include <memory>
#include <ostream>

#include "examples/studies/StudyError.h"
#include "host/ErrorIdException.h"
#include "host/reference/HostError.h"

namespace study {

std::vector<std::string> argumentsOf(int argc, char** argv) {
    return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

int runProgram(const Program& program, std::ostream& out, std::ostream& err, const std::function<void()>& action) {
    const auto fail = [&](ExitCode code, const std::string& message) {
        err << program.name << ": " << message << '\n';
        if (code == ExitCode::BadArguments) {
            err << "Run with --help for the options.\n";
        }
        return static_cast<int>(code);
    };
    try {
        action();
        out.flush();
        if (!out) {
            return fail(ExitCode::NotWritten, std::string(program.output) + " cannot be written to standard output");
        }
        return static_cast<int>(ExitCode::Done);
    } catch (const StudyError& error) {
        return fail(error.code(), error.what());
    } catch (ErrorIdException* error) {
        const std::unique_ptr<ErrorIdException> owner(error);
        return fail(ExitCode::Unexpected, std::string(error->getId()) + ": " + error->getMessage());
    } catch (const hostref::HostError& error) {
        return fail(ExitCode::Unexpected, error.id() + ": " + error.what());
    } catch (const std::exception& error) {
        return fail(ExitCode::Unexpected, error.what());
    }
}

}  // namespace study
