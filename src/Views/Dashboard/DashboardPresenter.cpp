#include "Views/Dashboard/DashboardPresenter.h"

#include "ViewModels/ApplicationWindows.h"
#include "ViewModels/DashboardViewModel.h"

#include <QVariantMap>

#include <array>

namespace corvane {

namespace {

struct Row {
    DashboardPage page;
    const char* symbol;
    const char* view;
};
constexpr std::array rows{
    Row{DashboardPage::dashboard, "house", "setup"},
    Row{DashboardPage::account, "person.crop.circle", "account"},
    Row{DashboardPage::settings, "gear", "settings"},
    Row{DashboardPage::audio, "speaker.wave.2", "audio"},
    Row{DashboardPage::shortcuts, "keyboard", "shortcuts"},
};

} // namespace

DashboardPresenter::DashboardPresenter(DashboardViewModel& model, Pages pages, ApplicationWindows& windows,
                                       const std::optional<QString>& appVersion)
    : m_model(model)
    , m_pages(std::move(pages))
    , m_windows(windows)
    , m_version(u'v' + appVersion.value_or(QStringLiteral("–"))) {
    connect(&model, &DashboardViewModel::selectedPageChanged, this, &DashboardPresenter::selectedPageChanged);
    connect(gate(), &AuthGatePresenter::changed, this, [this] { m_openPage.reset(); });
}

QVariantList DashboardPresenter::pages() const {
    QVariantList list;
    for (const auto& row : rows) {
        list.append(QVariantMap{{QStringLiteral("title"), rawValue(row.page)},
                                {QStringLiteral("symbol"), QLatin1String(row.symbol)},
                                {QStringLiteral("view"), QLatin1String(row.view)}});
    }
    return list;
}

int DashboardPresenter::selectedPage() const {
    const auto* found = std::ranges::find(rows, m_model.selectedPage(), &Row::page);
    return static_cast<int>(found - rows.begin());
}

void DashboardPresenter::selectPage(int row) {
    if (row >= 0 && row < static_cast<int>(rows.size())) {
        m_model.setSelectedPage(rows[static_cast<size_t>(row)].page);
    }
}

void DashboardPresenter::pageOpens() {
    if (std::exchange(m_openPage, m_model.selectedPage()) != m_model.selectedPage()) {
        m_scrollPosition = 0;
        setup()->leave();
    }
}

void DashboardPresenter::showAccount() {
    m_model.setSelectedPage(DashboardPage::account);
}

void DashboardPresenter::quit() {
    m_windows.terminate();
}

} // namespace corvane
