#include "Platform/Input/DesktopKeys.h"
#include "tests/Support/Rows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using platform::DesktopKey;
namespace modifier = platform::modifier;
namespace keycode = platform::keycode;

class DesktopKeysTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theDesktopsOwnSettingsAreRead_data() {
        const auto row = rows<QString, QString, QByteArray, QList<DesktopKey>>();
        const DesktopKey left{modifier::command, keycode::left, "left"};
        const DesktopKey right{modifier::command, keycode::right, "right"};
        const DesktopKey up{modifier::command, keycode::up, "up"};
        const DesktopKey down{modifier::command, keycode::down, "down"};
        const DesktopKey desktop{modifier::command | modifier::control, keycode::none, "d"};
        row("KDE, changed and switched off", "KDE", "kglobalshortcutsrc",
            "[kwin]\n_k_friendly_name=KWin\nWindow Quick Tile Left=Meta+Left,Meta+Left,Tile\n"
            "Show Desktop=Meta+Ctrl+D\\tMeta+Right,Meta+D,Peek\nWindow Quick Tile Top=none,Meta+Up,Tile\n",
            {left, desktop, right});
        row("Xfce", "XFCE", "xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml",
            R"(<channel name="x" version="1.0"><property name="xfwm4" type="empty"><property name="custom" type="empty">
            <property name="&lt;Super&gt;Left" type="string" value="tile_left_key"/>
            <property name="&lt;Primary&gt;&lt;Super&gt;d" type="string" value="show_desktop_key"/>
            <property name="&lt;Super&gt;Up" type="string" value=""/></property></property></channel>)",
            {left, desktop});
        row("not to be read", "KDE", "other", "", {left, right, up, down});
        row("another desktop", "sway", "kglobalshortcutsrc", "Tile=Meta+Left,Meta+Left,Tile\n", {});
    }
    void theDesktopsOwnSettingsAreRead() {
        const auto [desktop, name, text, keys] =
            currentRow<QString, QString, QByteArray, QList<DesktopKey>>();
        const QTemporaryDir folder;
        QFile file(folder.filePath(name));
        QDir().mkpath(QFileInfo(file).path());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        file.close();
        qputenv("XDG_CONFIG_HOME", folder.path().toUtf8());
        qputenv("XDG_CURRENT_DESKTOP", desktop.toUtf8());
        const auto found = platform::desktopKeys();
        for (const auto& key : keys) {
            QVERIFY2(found.contains(key), qPrintable(key.keyName));
        }
        QVERIFY(!found.contains({modifier::command, keycode::up, "up"}) ||
                keys.contains({modifier::command, keycode::up, "up"}));
        QVERIFY(desktop != u"sway" || found.isEmpty());
    }
};

QTEST_GUILESS_MAIN(DesktopKeysTest)
#include "DesktopKeysTest.moc"
