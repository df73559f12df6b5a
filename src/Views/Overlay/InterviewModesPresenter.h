#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <qqmlregistration.h>

namespace corvane {

class InterviewViewModel;

// The three exclusive modes of a running interview, which stand for the two flags that the backend knows, and
// the switch of manual mode.
class InterviewModesPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(bool visible READ visible NOTIFY changed)
    Q_PROPERTY(QStringList labels READ labels CONSTANT)
    // One value for each label.
    Q_PROPERTY(QList<bool> active READ active NOTIFY changed)
    Q_PROPERTY(QList<bool> disabled READ disabled NOTIFY changed)
    Q_PROPERTY(bool manualMode READ manualMode NOTIFY changed)
    Q_PROPERTY(bool manualModeAvailable READ manualModeAvailable NOTIFY changed)
    Q_PROPERTY(QString manualModeTooltip READ manualModeTooltip NOTIFY changed)

public:
    explicit InterviewModesPresenter(InterviewViewModel& interview);

    bool visible() const { return m_viewState.visible; }
    QStringList labels() const;
    QList<bool> active() const { return m_viewState.active; }
    QList<bool> disabled() const { return m_viewState.disabled; }
    bool manualMode() const { return m_viewState.manualMode; }
    bool manualModeAvailable() const { return m_viewState.manualModeAvailable; }
    QString manualModeTooltip() const;

    // Selects the mode with that index among the labels.
    Q_INVOKABLE void select(int segment);
    Q_INVOKABLE void toggleManualMode();

Q_SIGNALS:
    void changed();

private:
    struct ViewState {
        bool visible = false;
        QList<bool> active;
        QList<bool> disabled;
        bool manualMode = false;
        bool manualModeAvailable = false;
        bool operator==(const ViewState&) const = default;
    };

    ViewState viewState() const;
    void update();

    InterviewViewModel& m_interview;
    ViewState m_viewState;
};

} // namespace corvane
