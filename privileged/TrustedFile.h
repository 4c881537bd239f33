// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

/// A program that only root could have created or changed.
struct TrustedFile {
    /// Open for reading, close-on-exec; the caller closes it. -1 when there is a `problem`.
    int descriptor = -1;
    /// Why the file is not trusted, a phrase that follows the file's name in a message; null when
    /// it is trusted.
    const char* problem = nullptr;
};

/// Opens the program at the absolute path `path`, one folder after the other, starting at the root
/// folder. Each folder and the file must be owned by root and writable by root only. Symbolic links
/// are not followed. The file must be a regular file that root may execute.
///
/// Execute the program with execute(), see Execute.h: its path may lead to another file after the
/// check.
TrustedFile openTrusted(const char* path);

} // namespace kestrelnet::privileged
