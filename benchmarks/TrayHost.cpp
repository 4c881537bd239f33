// SPDX-License-Identifier: MIT
#include "benchmarks/TrayHost.h"

#include <cstring>
#include <systemd/sd-bus.h>

namespace kestrelnet::benchmarks {

namespace {

constexpr const char* watcher = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* itemPath = "/StatusNotifierItem";

void check(int result, const char* what) {
    if (result < 0) {
        giveUp(std::string(what) + ": " + std::strerror(-result));
    }
}

int answerYes(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
              sd_bus_error*) {
    return sd_bus_message_append(reply, "b", 1);
}

int answerVersion(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                  sd_bus_error*) {
    return sd_bus_message_append(reply, "i", 0);
}

int answerItems(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply, void*,
                sd_bus_error*) {
    return sd_bus_message_append(reply, "as", 0);
}

} // namespace

struct TrayHost::Callbacks {
    static int registerItem(sd_bus_message* call, void* host, sd_bus_error*) {
        auto& self = *static_cast<TrayHost*>(host);
        self.registered_ = now();
        self.item_ = sd_bus_message_get_sender(call);
        self.requestProperties();
        return sd_bus_reply_method_return(call, "");
    }

    static int registerHost(sd_bus_message* call, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(call, "");
    }

    static int newIcon(sd_bus_message*, void* host, sd_bus_error*) {
        auto& self = *static_cast<TrayHost*>(host);
        self.iconChanged_ = now();
        self.requestProperties();
        return 0;
    }
};

TrayHost::TrayHost() {
    static const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", Callbacks::registerItem,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("RegisterStatusNotifierHost", "s", "", Callbacks::registerHost,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_PROPERTY("IsStatusNotifierHostRegistered", "b", answerYes, 0, 0),
        SD_BUS_PROPERTY("ProtocolVersion", "i", answerVersion, 0, 0),
        SD_BUS_PROPERTY("RegisteredStatusNotifierItems", "as", answerItems, 0, 0),
        SD_BUS_VTABLE_END};
    check(sd_bus_open_user(&bus_), "there is no session bus");
    check(sd_bus_add_object_vtable(bus_, nullptr, watcherPath, watcher, table, this),
          "the tray object could not be registered");
    check(sd_bus_match_signal(bus_, nullptr, nullptr, itemPath, itemInterface, "NewIcon",
                              Callbacks::newIcon, this),
          "the subscription to icon changes failed");
    check(sd_bus_request_name(bus_, watcher, 0), "the name of the tray could not be acquired");
}

TrayHost::~TrayHost() {
    sd_bus_flush_close_unref(bus_);
}

void TrayHost::process() {
    int result = 0;
    do {
        result = sd_bus_process(bus_, nullptr);
        check(result, "the session bus has closed the connection");
    } while (result > 0);
}

int TrayHost::descriptor() const {
    return sd_bus_get_fd(bus_);
}

/// Requests all properties of the item, as real tray hosts do. The answer is not used.
void TrayHost::requestProperties() {
    check(sd_bus_call_method_async(bus_, nullptr, item_.c_str(), itemPath,
                                   "org.freedesktop.DBus.Properties", "GetAll", nullptr, nullptr,
                                   "s", itemInterface),
          "the properties of the tray item could not be requested");
}

void TrayHost::forget() {
    registered_.reset();
    iconChanged_.reset();
}

void TrayHost::activate(int x, int y) {
    check(sd_bus_call_method_async(bus_, nullptr, item_.c_str(), itemPath, itemInterface,
                                   "Activate", nullptr, nullptr, "ii", x, y),
          "the icon could not be clicked");
    check(sd_bus_flush(bus_), "the session bus has closed the connection");
}

void TrayHost::openLink(const std::string& link) {
    check(sd_bus_call_method_async(bus_, nullptr, "com.kestrelnetvpn.app", "/com/kestrelnetvpn/app",
                                   "org.freedesktop.Application", "Open", nullptr, nullptr,
                                   "asa{sv}", 1, link.c_str(), 0),
          "the link could not be opened");
    check(sd_bus_flush(bus_), "the session bus has closed the connection");
}

} // namespace kestrelnet::benchmarks
