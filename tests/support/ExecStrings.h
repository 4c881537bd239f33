// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Environment.h"

#include <string>
#include <utility>
#include <vector>

namespace kestrelnet {

/// Arguments or an environment, in the form that the exec functions take.
class ExecStrings {
  public:
    explicit ExecStrings(std::vector<std::string> texts) : texts_(std::move(texts)) {
        pointers_.reserve(texts_.size() + 1);
        for (std::string& text : texts_) {
            pointers_.push_back(text.data());
        }
        pointers_.push_back(nullptr);
    }
    explicit ExecStrings(const Environment& environment) : ExecStrings(entries(environment)) {}
    ~ExecStrings() = default;
    ExecStrings(const ExecStrings&) = delete;
    ExecStrings& operator=(const ExecStrings&) = delete;

    /// Ends with a null pointer. Valid as long as this object.
    char* const* data() const { return pointers_.data(); }

  private:
    static std::vector<std::string> entries(const Environment& environment) {
        std::vector<std::string> result;
        for (const auto& [name, value] : environment) {
            result.emplace_back(name).append("=").append(value);
        }
        return result;
    }

    std::vector<std::string> texts_;
    std::vector<char*> pointers_;
};

} // namespace kestrelnet
