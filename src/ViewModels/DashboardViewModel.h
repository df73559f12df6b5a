#pragma once

#include <QObject>
#include <QProperty>

#include <array>

namespace corvane {

enum class DashboardPage { dashboard, account, settings, audio, shortcuts };

// Returns the name of the page, which is its title too.
QString rawValue(DashboardPage page);
inline constexpr std::array allDashboardPages{DashboardPage::dashboard, DashboardPage::account,
                                              DashboardPage::settings, DashboardPage::audio,
                                              DashboardPage::shortcuts};

// The page of the dashboard that is open, for the life of the process. Main thread.
class DashboardViewModel : public QObject {
    Q_OBJECT

public:
    DashboardPage selectedPage() const { return m_selectedPage; }
    void setSelectedPage(DashboardPage page) { m_selectedPage = page; }

Q_SIGNALS:
    void selectedPageChanged();

private:
    using Self = DashboardViewModel;
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, DashboardPage, m_selectedPage, DashboardPage::dashboard,
                                         &Self::selectedPageChanged)
};

} // namespace corvane
