// SPDX-License-Identifier: MIT
#include "platform/PropertyList.h"

#include <QXmlStreamReader>

#include <array>
#include <optional>
#include <utility>

namespace kestrelnet::propertyList {

namespace {

constexpr int deepest = 32;

class Parser {
  public:
    explicit Parser(std::string_view text)
        : xml_(QByteArray(text.data(), static_cast<qsizetype>(text.size()))) {}

    std::variant<Value, Error> run() {
        std::optional<Value> found;
        if (xml_.readNextStartElement() && is("plist")) {
            found = next();
            if (found && xml_.readNextStartElement()) {
                refuse("more than one value");
            }
        } else {
            refuse("no property list");
        }
        // The rest of the text must be well-formed, too.
        while (!xml_.atEnd()) {
            xml_.readNext();
        }
        if (xml_.hasError() || !found) {
            return Error{"line " + std::to_string(xml_.lineNumber()) + ": " +
                         xml_.errorString().toStdString()};
        }
        return *std::move(found);
    }

  private:
    bool is(const char* name) const { return xml_.name() == QLatin1String(name); }
    void refuse(const char* reason) {
        if (!xml_.hasError()) {
            xml_.raiseError(QString::fromLatin1(reason));
        }
    }
    std::string text() { return xml_.readElementText().toStdString(); }

    /// The value of the next child element; nothing if there is none.
    std::optional<Value> next() {
        if (!xml_.readNextStartElement()) {
            refuse("a value is missing");
            return std::nullopt;
        }
        return value();
    }

    std::optional<Value> value() {
        static constexpr std::array others{"integer", "real", "date", "data"};
        if (is("string")) {
            return Value{text()};
        }
        if (is("true") || is("false")) {
            const bool isTrue = is("true");
            xml_.skipCurrentElement();
            return Value{isTrue};
        }
        if (is("array") || is("dict")) {
            return container();
        }
        for (const char* const other : others) {
            if (is(other)) {
                static_cast<void>(text());
                return Value{Other{}};
            }
        }
        refuse("an element that no property list has");
        return std::nullopt;
    }

    std::optional<Value> container() {
        if (++depth_ > deepest) {
            refuse("too many values within each other");
            return std::nullopt;
        }
        Value result = is("array") ? Value{array()} : Value{dictionary()};
        --depth_;
        return result;
    }

    Array array() {
        Array result;
        while (xml_.readNextStartElement()) {
            if (auto each = value()) {
                result.push_back(*std::move(each));
            }
        }
        return result;
    }

    Dictionary dictionary() {
        Dictionary result;
        while (xml_.readNextStartElement()) {
            if (!is("key")) {
                refuse("a value without a key");
                break;
            }
            std::string key = text();
            if (auto each = next()) {
                result.insert_or_assign(std::move(key), *std::move(each));
            }
        }
        return result;
    }

    QXmlStreamReader xml_;
    int depth_ = 0;
};

} // namespace

const Value* Value::at(std::string_view key) const {
    const Dictionary* const all = dictionary();
    if (all == nullptr) {
        return nullptr;
    }
    const auto found = all->find(key);
    return found == all->end() ? nullptr : &found->second;
}

std::variant<Value, Error> parse(std::string_view text) {
    if (std::cmp_greater(text.size(), largest)) {
        return Error{"longer than any property list"};
    }
    return Parser(text).run();
}

} // namespace kestrelnet::propertyList
