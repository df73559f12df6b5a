#pragma once

#include "Platform/Desktop/LoginItem.h"
#include "ViewModels/ApplicationWindows.h"

#include <QStringList>

#include <stdexcept>

namespace corvane {

// Windows, the bar's among them, that only remember what was asked of them.
class FakeWindows : public ApplicationWindows, public FloatingPanelController {
public:
    FloatingPanelController* floatingPanel() const override { return m_panel; }
    void showDashboard() override { calls.append("dashboard"); }
    void setContentProtected(bool on) override { calls.append(on ? "protected" : "not protected"); }
    void setActivationPolicy(ActivationPolicy policy) override { note("policy", static_cast<int>(policy)); }
    void terminate() override { calls.append("terminate"); }
    void orderFrontRegardless() override {}
    void orderOut() override {}
    bool isVisible() const override { return true; }
    QRect frame() const override { return {}; }
    void setFrame(const QRect&) override {}
    void setLevel(WindowLevel level) override { note("level", static_cast<int>(level)); }
    void setSharingType(SharingType) override {}
    void whenPainted(std::function<void()> then) override { then(); }

    QStringList calls;

private:
    void note(const char* what, int value) { calls.append(QStringLiteral("%1 %2").arg(what).arg(value)); }

    FloatingPanelController* m_panel = this;
};

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
