// SPDX-License-Identifier: MIT
#include "privileged/Record.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace kestrelnet::privileged {

void record(pid_t pid, const std::string& text) {
    // Not by syslog(): it waits for a full queue, and reads the file that the caller's TZ names.
    // The logging service adds the time.
    const std::string message = '<' + std::to_string(LOG_AUTHPRIV | LOG_INFO) +
                                ">kestrelnet-helper[" + std::to_string(pid) + "]: " + text;
    sockaddr_un service{};
    service.sun_family = AF_UNIX;
    std::strncpy(service.sun_path, _PATH_LOG, sizeof service.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    // The two kinds of address share their first members.
    ::sendto(socket, message.data(), message.size(), MSG_DONTWAIT,
             reinterpret_cast<const sockaddr*>(&service), sizeof service);
    ::close(socket);
}

} // namespace kestrelnet::privileged
