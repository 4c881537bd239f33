// SPDX-License-Identifier: MIT
#include "benchmarks/TrayHost.h"

#include <cstring>
#include <string_view>
#include <systemd/sd-bus.h>

namespace kestrelnet::benchmarks {

namespace {

constexpr const char* watcher = "org.kde.StatusNotifierWatcher";
constexpr const char* watcherPath = "/StatusNotifierWatcher";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* itemPath = "/StatusNotifierItem";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr const char* menuPath = "/MenuBar";

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

/// Reads a dictionary of properties; returns whether "label" is `label`.
bool hasLabel(sd_bus_message* message, const std::string& label) {
    bool found = false;
    check(sd_bus_message_enter_container(message, 'a', "{sv}"), menuInterface);
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
        const char* name = nullptr;
        const char* value = nullptr;
        check(sd_bus_message_read(message, "s", &name), menuInterface);
        if (std::string_view(name) == "label") {
            check(sd_bus_message_read(message, "v", "s", &value), menuInterface);
            found = value == label;
        } else {
            check(sd_bus_message_skip(message, "v"), menuInterface);
        }
        check(sd_bus_message_exit_container(message), menuInterface);
    }
    check(sd_bus_message_exit_container(message), menuInterface);
    return found;
}

/// The identifier of the entry `label` in the answer to GetLayout; none without such an entry.
std::optional<int> entryIn(sd_bus_message* layout, const std::string& label) {
    int identifier = 0;
    check(sd_bus_message_skip(layout, "u"), menuInterface);
    check(sd_bus_message_enter_container(layout, 'r', "ia{sv}av"), menuInterface);
    check(sd_bus_message_skip(layout, "ia{sv}"), menuInterface);
    check(sd_bus_message_enter_container(layout, 'a', "v"), menuInterface);
    while (sd_bus_message_enter_container(layout, 'v', "(ia{sv}av)") > 0) {
        check(sd_bus_message_enter_container(layout, 'r', "ia{sv}av"), menuInterface);
        check(sd_bus_message_read(layout, "i", &identifier), menuInterface);
        if (hasLabel(layout, label)) {
            return identifier;
        }
        check(sd_bus_message_skip(layout, "av"), menuInterface);
        check(sd_bus_message_exit_container(layout), menuInterface);
        check(sd_bus_message_exit_container(layout), menuInterface);
    }
    return std::nullopt;
}

} // namespace

struct TrayHost::Callbacks {
    static int registerItem(sd_bus_message* call, void* host, sd_bus_error*) {
        auto& self = *static_cast<TrayHost*>(host);
        self.registered_ = now();
        self.item_ = sd_bus_message_get_sender(call);
        self.requestProperties();
        self.requestToolTip();
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

    static int newToolTip(sd_bus_message*, void* host, sd_bus_error*) {
        static_cast<TrayHost*>(host)->requestToolTip();
        return 0;
    }

    /// Of the type (sa(iiay)ss): an icon's name, pictures, a title, and a description.
    static int toolTipAnswered(sd_bus_message* answer, void* host, sd_bus_error*) {
        const char* title = nullptr;
        // A program that has just ended does not answer.
        if (sd_bus_message_is_method_error(answer, nullptr) == 0 &&
            sd_bus_message_enter_container(answer, 'v', "(sa(iiay)ss)") > 0 &&
            sd_bus_message_enter_container(answer, 'r', "sa(iiay)ss") > 0 &&
            sd_bus_message_skip(answer, "sa(iiay)") >= 0 &&
            sd_bus_message_read(answer, "s", &title) > 0) {
            static_cast<TrayHost*>(host)->toolTip_ = title;
        }
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
    check(sd_bus_match_signal(bus_, nullptr, nullptr, itemPath, itemInterface, "NewToolTip",
                              Callbacks::newToolTip, this),
          "the subscription to changes of the tool tip failed");
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
    check(sd_bus_call_method_async(bus_, nullptr, item_.c_str(), itemPath, properties, "GetAll",
                                   nullptr, nullptr, "s", itemInterface),
          "the properties of the tray item could not be requested");
}

void TrayHost::requestToolTip() {
    check(sd_bus_call_method_async(bus_, nullptr, item_.c_str(), itemPath, properties, "Get",
                                   Callbacks::toolTipAnswered, this, "ss", itemInterface,
                                   "ToolTip"),
          "the tool tip of the tray item could not be requested");
}

bool TrayHost::choose(const std::string& label) {
    sd_bus_message* layout = nullptr;
    check(sd_bus_call_method(bus_, item_.c_str(), menuPath, menuInterface, "GetLayout", nullptr,
                             &layout, "iias", 0, -1, 0),
          "the menu of the icon could not be read");
    const std::optional<int> entry = entryIn(layout, label);
    sd_bus_message_unref(layout);
    if (entry) {
        check(sd_bus_call_method(bus_, item_.c_str(), menuPath, menuInterface, "Event", nullptr,
                                 nullptr, "isvu", *entry, "clicked", "i", 0, 0),
              "an entry of the menu could not be chosen");
    }
    return entry.has_value();
}

void TrayHost::forget() {
    toolTip_.clear();
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
