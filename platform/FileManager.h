// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// File functions. Any thread. They do not throw; the result tells whether they succeeded.
namespace kestrelnet::files {

/// Whether a file of any kind or a folder is at `path`. Follows links. False if that cannot be
/// determined.
bool exists(const std::string& path);

/// Creates a folder and its missing parents. Succeeds if the folder exists, and fails if `path` is
/// something else.
bool createFolder(const std::string& path);

/// The content of a regular file; nothing for any other kind of file, for more than `largest`
/// bytes, and on errors.
std::optional<std::string> read(const std::string& path, std::int64_t largest = 1LL << 30);

/// Replaces the file at `path` by one with the content `text`: at any time it holds either the old
/// text or the new one, also after a power failure. The folder must be writable; the old file need
/// not be. An existing file keeps its owner, group and mode; if it cannot, nothing is written. A
/// new one gets `mode`, to which the file mode creation mask applies. A link stays a link, and its
/// target is replaced. Sets errno on failure.
bool writeAtomically(const std::string& path, std::string_view text, unsigned mode = 0666);

/// Sets the permission bits, for example 0755.
bool setPermissions(const std::string& path, unsigned mode);

/// Removes the file, link or folder at `path`, a folder with its content. False on failure and when
/// nothing was there.
bool remove(const std::string& path);

/// Creates a named pipe. The file mode creation mask applies to `mode`.
bool makeFifo(const std::string& path, unsigned mode);

/// Returns the absolute `path` without ".", ".." and superfluous separators. In "link/..", the
/// symbolic link is resolved first, so ".." is the folder that contains the link's target.
std::string standardizedPath(const std::string& path);

/// The current user's home folder as the account database gives it, whatever $HOME says. Without
/// a separator at the end; empty when the account has none.
std::string homeDirectory();

/// A folder that only the current user can enter, with a separator at the end. Where the system has
/// none, a folder whose name begins with `name` is created.
std::string temporaryDirectory(const std::string& name);

} // namespace kestrelnet::files
