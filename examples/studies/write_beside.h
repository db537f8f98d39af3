// Replacing a file only once its new contents are complete.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace study {

/// Writes a new file beside `path`, lets `check` (which may be empty) read it back, and renames it to `path`; if
/// anything fails, or either function throws, an existing file is unchanged and the new one is removed. Follows a
/// symbolic link to its target. Throws a StudyError (NotWritten) with the path and the reason, even if `path` is a
/// directory or a device.
void writeBeside(const std::string& path, const std::function<void(std::FILE*)>& write,
                 const std::function<void(std::FILE*)>& check);

/// As `writeBeside`, for a text that nothing reads back.
void writeTextBeside(const std::string& path, const std::string& text);

/// Throws the errors that `writeBeside` would throw before it writes, so that a long run fails early.
void requireWritable(const std::string& path);

}  // namespace study
