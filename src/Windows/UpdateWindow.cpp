#include "Windows/UpdateWindow.h"

#include "Platform/Windows/QuietWindow.h"
#include "Platform/Windows/UserInteraction.h"
#include "Views/Updates/UpdateDialogPresenter.h"
#include "Windows/ContentView.h"

#include <QEvent>
#include <QQmlEngine>

namespace corvane {

namespace {

constexpr QSize plainSize(500, 210);
constexpr QSize sizeWithNotes(500, 400);

} // namespace

UpdateWindow::UpdateWindow(QQmlEngine& engine, UpdateDialogPresenter& presenter)
    : m_engine(engine)
    , m_presenter(presenter) {
    // Queued, because a button of the view may still be handling its press.
    connect(&presenter, &UpdateDialogPresenter::stageChanged, this, &UpdateWindow::follow,
            Qt::QueuedConnection);
    connect(&presenter, &UpdateDialogPresenter::broughtForward, this, &UpdateWindow::bringForward,
            Qt::QueuedConnection);
}

void UpdateWindow::follow() {
    if (!m_presenter.isShown()) {
        m_view.reset();
        return;
    }
    const bool isNew = !m_view;
    if (isNew) {
        open();
    }
    const auto size = m_presenter.notes().isEmpty() ? plainSize : sizeWithNotes;
    m_view->setMinimumSize(size);
    m_view->setMaximumSize(size);
    m_view->resize(size);
    if (!isNew) {
        return;
    }
    m_view->create();
    applyPolicy();
    if (m_presenter.isAutomatic()) {
        platform::setShowsQuietly(*m_view);
        m_view->show();
    } else {
        m_view->show();
        bringForward();
    }
}

void UpdateWindow::open() {
    m_view = std::make_unique<QQuickView>(&m_engine, nullptr);
    m_view->setTitle(QStringLiteral("Software Update"));
    m_view->setFlags(Qt::Dialog);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->installEventFilter(this);
    m_view->setInitialProperties({{QStringLiteral("presenter"), QVariant::fromValue(&m_presenter)}});
    m_view->setSource(contentView("Updates/UpdateDialogView.qml"));
}

void UpdateWindow::bringForward() {
    if (m_view) {
        m_view->raise();
        platform::takeKeyboard(*m_view);
    }
}

void UpdateWindow::setActivationPolicy(ActivationPolicy policy) {
    m_policy = policy;
    if (m_view) {
        applyPolicy();
    }
}

void UpdateWindow::applyPolicy() {
    platform::setSkipsTaskbar(*m_view, m_policy == ActivationPolicy::accessory);
}

bool UpdateWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_view.get() && event->type() == QEvent::Close) {
        event->ignore();
        m_presenter.dismiss();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace corvane
