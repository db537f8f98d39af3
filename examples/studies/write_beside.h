// Replacing a file only once its new contents are complete.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

namespace study {

/// Writes a new file beside `path`, lets `check` (which may be empty) read it back, and renames it to `path`; when
/// anything fails, or either function throws, the file that was there stays as it was and the new one is removed.
/// Follows a symbolic link to the file it names. Throws a StudyError (NotWritten) with the path and the reason, also
/// when `path` is a directory or a device.
void writeBeside(const std::string& path, const std::function<void(std::FILE*)>& write,
                 const std::function<void(std::FILE*)>& check);

/// As `writeBeside`, for a text that nothing reads back.
void writeTextBeside(const std::string& path, const std::string& text);

/// Throws what `writeBeside` would throw before it writes, so that a long run needs no wait for it.
void requireWritable(const std::string& path);

}  // namespace study
