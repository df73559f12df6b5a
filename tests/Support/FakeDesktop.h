#pragma once

#include "Platform/Desktop/LoginItem.h"

#include <stdexcept>

namespace corvane {

// A login item that the desktop refuses when `error` is set.
class FakeLoginItem : public platform::LoginItem {
public:
    void registerItem() override { set(true); }
    void unregisterItem() override { set(false); }

    bool registered = false;
    std::string error;

private:
    void set(bool on) { registered = error.empty() ? on : throw std::runtime_error(error); }
};

} // namespace corvane
