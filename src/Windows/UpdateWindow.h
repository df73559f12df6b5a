#pragma once

#include "Windows/AuxiliaryWindow.h"

#include <QObject>
#include <QQuickView>

#include <memory>

namespace corvane {

class UpdateDialogPresenter;

// The window of an update. It exists only while something is shown in it; closing it dismisses the update.
class UpdateWindow : public QObject, public AuxiliaryWindow {
    Q_OBJECT

public:
    UpdateWindow(QQmlEngine& engine, UpdateDialogPresenter& presenter);

    void setActivationPolicy(ActivationPolicy policy) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow();
    void open();
    void bringForward();
    void applyPolicy();

    QQmlEngine& m_engine;
    UpdateDialogPresenter& m_presenter;
    std::unique_ptr<QQuickView> m_view;
    ActivationPolicy m_policy = ActivationPolicy::regular;
};

} // namespace corvane
