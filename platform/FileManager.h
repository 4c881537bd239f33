// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// File functions. Any thread. None throws; what fails is told by the result.
namespace kestrelnet::files {

/// Whether anything, a folder included, is at `path`; links are followed. No answer counts as no.
bool exists(const std::string& path);

/// Makes a folder, with those above it that are missing. Fails where something else is in the way.
bool createFolder(const std::string& path);

/// The whole of a regular file; nothing for anything else, and for one of more than `largest`
/// bytes.
std::optional<std::string> read(const std::string& path, std::int64_t largest = 1LL << 30);

/// Replaces the file at `path` whole: it holds the old text or the new, never a part. A file that
/// was there keeps its owner, group and mode, else nothing is written; a link to one stays a link.
bool writeAtomically(const std::string& path, std::string_view text);

/// Sets the permission bits, for example 0755.
bool setPermissions(const std::string& path, unsigned mode);

/// Removes what is at `path`, a folder with all it holds. False when nothing was there.
bool remove(const std::string& path);

/// Makes a named pipe; the file mode creation mask applies to `mode`.
bool makeFifo(const std::string& path, unsigned mode);

/// The absolute `path` without "." and "..", and without superfluous separators. Behind a symbolic
/// link ".." is the folder that holds what the link stands for; before one, all links are resolved.
std::string standardizedPath(const std::string& path);

/// The current user's home folder as the account database gives it, whatever $HOME says. Without
/// a separator at the end; empty when the account has none.
std::string homeDirectory();

/// A folder that only the current user can enter, with a separator at the end. Where the system has
/// none, a folder whose name begins with `name` is created.
std::string temporaryDirectory(const std::string& name);

} // namespace kestrelnet::files
