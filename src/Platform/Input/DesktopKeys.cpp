#include "Platform/Input/DesktopKeys.h"

#include "Platform/Input/KeyTable.h"

#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QXmlStreamReader>

#include <gio/gio.h>

#include <array>
#include <memory>

namespace platform {

namespace {

struct ModifierWord {
    const char* word;
    quint32 flag;
};
constexpr std::array modifierWords{
    ModifierWord{"super", modifier::command},   ModifierWord{"meta", modifier::command},
    ModifierWord{"shift", modifier::shift},     ModifierWord{"alt", modifier::option},
    ModifierWord{"ctrl", modifier::control},    ModifierWord{"control", modifier::control},
    ModifierWord{"primary", modifier::control},
};

constexpr std::array gnomeSchemas{
    "org.gnome.desktop.wm.keybindings",
    "org.gnome.mutter.keybindings",
    "org.gnome.mutter.wayland.keybindings",
    "org.gnome.shell.keybindings",
    "org.gnome.settings-daemon.plugins.media-keys",
};

// These tile or maximize a window on all three desktops.
constexpr std::array shippedKeys{"<Super>Left", "<Super>Right", "<Super>Up", "<Super>Down"};

template<typename Type, auto release>
struct Release {
    void operator()(Type* held) const { release(held); }
};
template<typename Type, auto release>
using Held = std::unique_ptr<Type, Release<Type, release>>;

QStringList gnomeKeys() {
    QStringList keys;
    auto* source = g_settings_schema_source_get_default();
    for (const auto* name : gnomeSchemas) {
        const Held<GSettingsSchema, g_settings_schema_unref> schema(
            source ? g_settings_schema_source_lookup(source, name, TRUE) : nullptr);
        if (!schema) {
            continue;
        }
        const Held<GSettings, g_object_unref> settings(g_settings_new_full(schema.get(), nullptr, nullptr));
        const Held<gchar*, g_strfreev> uses(g_settings_schema_list_keys(schema.get()));
        for (auto** use = uses.get(); *use; ++use) {
            const Held<GVariant, g_variant_unref> value(g_settings_get_value(settings.get(), *use));
            if (g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING_ARRAY)) {
                const Held<const gchar*, g_free> texts(g_variant_get_strv(value.get(), nullptr));
                for (auto** text = texts.get(); *text; ++text) {
                    keys.append(QString::fromUtf8(*text));
                }
            }
        }
    }
    return keys;
}

// Lines have the form "Action=active keys,default keys,description", with the keys separated by tabs.
QStringList kdeKeys() {
    QStringList keys;
    QFile file(
        QStandardPaths::locate(QStandardPaths::GenericConfigLocation, QStringLiteral("kglobalshortcutsrc")));
    if (file.open(QIODevice::ReadOnly)) {
        const auto lines = QString::fromUtf8(file.readAll()).split(u'\n');
        for (const auto& line : lines) {
            const auto inForce = line.section(u'=', 1).section(u',', 0, 0);
            keys += inForce.split(QStringLiteral("\\t"), Qt::SkipEmptyParts);
        }
    }
    return keys;
}

// Each key is a property, named after it, below those of the window manager.
QStringList xfceKeys() {
    QStringList keys;
    QFile file(QStandardPaths::locate(
        QStandardPaths::GenericConfigLocation,
        QStringLiteral("xfce4/xfconf/xfce-perchannel-xml/xfce4-keyboard-shortcuts.xml")));
    if (file.open(QIODevice::ReadOnly)) {
        QXmlStreamReader reader(&file);
        while (!reader.atEnd()) {
            if (reader.readNextStartElement() || !reader.atEnd()) {
                const auto about = reader.attributes();
                if (about.value(QLatin1String("type")) == u"string" &&
                    about.value(QLatin1String("value")) != u"") {
                    keys.append(about.value(QLatin1String("name")).toString());
                }
            }
        }
    }
    return keys;
}

struct KeySource {
    const char* name; // as XDG_CURRENT_DESKTOP names it
    QStringList (*read)();
};
constexpr std::array keySources{KeySource{"GNOME", gnomeKeys}, KeySource{"KDE", kdeKeys},
                                KeySource{"XFCE", xfceKeys}};

} // namespace

DesktopKey parseDesktopKey(const QString& text) {
    static const QRegularExpression separators(QStringLiteral("[<>+]"));
    DesktopKey key;
    auto parts = text.toLower().split(separators, Qt::SkipEmptyParts);
    if (parts.isEmpty()) {
        return key;
    }
    const auto name = parts.takeLast();
    for (const auto& part : parts) {
        for (const auto& row : modifierWords) {
            key.modifierFlags |= part == QLatin1String(row.word) ? row.flag : 0;
        }
    }
    key.keyCode = keyCodeOfSymbol(name);
    key.keyName = name == QLatin1String("backslash") ? QStringLiteral("\\") : name;
    return key;
}

QList<DesktopKey> desktopKeys() {
    QList<DesktopKey> keys;
    const auto running = qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':');
    for (const auto& source : keySources) {
        if (!running.contains(QLatin1String(source.name))) {
            continue;
        }
        auto texts = source.read();
        if (texts.isEmpty()) {
            texts = QStringList(shippedKeys.begin(), shippedKeys.end());
        }
        for (const auto& text : texts) {
            keys.append(parseDesktopKey(text));
        }
    }
    return keys;
}

} // namespace platform
