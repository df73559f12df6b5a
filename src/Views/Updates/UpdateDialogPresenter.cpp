#include "Views/Updates/UpdateDialogPresenter.h"

#include "Platform/Update/SPUStandardUserDriver.h"
#include "Views/Updates/ReleaseNotes.h"

#include <QLocale>
#include <QTextDocument>

#include <algorithm>
#include <array>

namespace corvane {

using Stage = platform::SPUStandardUserDriver::Stage;

namespace {

// %1 is the program, %2 the new version, %3 the installed one, %4 the text of the driver.
struct Page {
    Stage stage;
    const char* title;
    const char* text;
    const char* dismiss;
    const char* choose;
};

constexpr std::array pages{
    Page{Stage::hidden, "", "", "", ""},
    Page{Stage::checking, "Checking for Updates…", "Looking for a newer version of %1.", "Hide", ""},
    Page{Stage::found, "%1 %2 is available", "You have %3. Would you like to download the new version now?",
         "Later", "Download"},
    Page{Stage::upToDate, "You’re up to date", "%1 %3 is the newest version.", "Close", ""},
    Page{Stage::downloading, "Downloading %1 %2", "The download is checked before anything is done with it.",
         "Cancel", ""},
    Page{Stage::ready, "%1 %2 is ready to install",
         "The download is signed by the makers of %1. Your desktop asks for an administrator’s password "
         "before "
         "it is installed.",
         "Later", "Install"},
    Page{Stage::verifying, "Checking %1 %2", "The download is checked once more before it is installed.",
         "Later", ""},
    Page{Stage::installing, "Installing %1 %2",
         "Your desktop asks for an administrator’s password. You can keep working in the meantime.", "", ""},
    Page{Stage::installed, "%1 %2 is installed", "Restart the app to use it. %4", "Later", "Restart Now"},
    Page{Stage::failed, "The update did not succeed", "%4", "Close", "Try Again"},
};

const Page& currentPage(const platform::SPUStandardUserDriver& driver) {
    return *std::ranges::find(pages, driver.stage(), &Page::stage);
}

} // namespace

UpdateDialogPresenter::UpdateDialogPresenter(platform::SPUStandardUserDriver& driver, QString programName,
                                             QString installedVersion)
    : m_driver(driver)
    , m_programName(std::move(programName))
    , m_installedVersion(std::move(installedVersion)) {
    using Driver = platform::SPUStandardUserDriver;
    using Self = UpdateDialogPresenter;
    connect(&driver, &Driver::stageChanged, this, &Self::stageChanged);
    connect(&driver, &Driver::stageChanged, this, &Self::progressChanged);
    connect(&driver, &Driver::progressChanged, this, &Self::progressChanged);
    connect(&driver, &Driver::broughtForward, this, &Self::broughtForward);
}

QString UpdateDialogPresenter::filledIn(const char* text) const {
    auto filled = QString::fromUtf8(text);
    filled.replace(QStringLiteral("%1"), m_programName);
    filled.replace(QStringLiteral("%2"), m_driver.item().displayVersionString);
    filled.replace(QStringLiteral("%3"), m_installedVersion);
    return filled.replace(QStringLiteral("%4"), m_driver.text());
}

bool UpdateDialogPresenter::isShown() const {
    return m_driver.stage() != Stage::hidden;
}

bool UpdateDialogPresenter::isAutomatic() const {
    return m_driver.stage() == Stage::found && m_driver.isAutomatic();
}

QString UpdateDialogPresenter::title() const {
    return filledIn(currentPage(m_driver).title);
}

QString UpdateDialogPresenter::text() const {
    return filledIn(currentPage(m_driver).text);
}

QString UpdateDialogPresenter::notes() const {
    if (m_driver.stage() != Stage::found) {
        return {};
    }
    const auto& item = m_driver.item();
    return item.descriptionIsHtml && Qt::mightBeRichText(item.itemDescription)
               ? plainReleaseNotes(item.itemDescription)
               : item.itemDescription;
}

bool UpdateDialogPresenter::isDownloading() const {
    return m_driver.stage() == Stage::downloading;
}

bool UpdateDialogPresenter::isBusy() const {
    const auto stage = m_driver.stage();
    return stage == Stage::checking || stage == Stage::verifying || stage == Stage::installing;
}

double UpdateDialogPresenter::progress() const {
    return m_driver.progress();
}

QString UpdateDialogPresenter::progressText() const {
    const auto total = m_driver.item().contentLength;
    const auto arrived = static_cast<qint64>(m_driver.progress() * static_cast<double>(total));
    const QLocale locale = QLocale::c();
    return QStringLiteral("%1 of %2").arg(locale.formattedDataSize(arrived), locale.formattedDataSize(total));
}

QString UpdateDialogPresenter::dismissText() const {
    return QString::fromUtf8(currentPage(m_driver).dismiss);
}

QString UpdateDialogPresenter::chooseText() const {
    return QString::fromUtf8(currentPage(m_driver).choose);
}

void UpdateDialogPresenter::dismiss() {
    m_driver.dismiss();
}

void UpdateDialogPresenter::choose() {
    m_driver.choose();
}

} // namespace corvane
