// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

/// A file that nobody but root could have put or changed where it is.
struct TrustedFile {
    /// Open for reading, close-on-exec, to be closed by the caller; -1 when there is `problem`.
    int descriptor = -1;
    /// What is wrong, to follow the name of the file in a message.
    const char* problem = nullptr;
};

/// Opens the program at `path`, which is absolute, one folder after the other from the root on.
/// Every folder on the way and the file itself must belong to root and be writable to nobody
/// else; links are not followed; the file is a regular one that root may execute.
///
/// The descriptor stands for the very file that was checked: execute it, not the path.
TrustedFile openTrusted(const char* path);

} // namespace kestrelnet::privileged
