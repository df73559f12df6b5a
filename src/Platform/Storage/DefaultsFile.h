#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace platform {

// The lines of a file of defaults. What a hand wrote stays as it is, byte for byte, but for the values that
// are changed: order, blank lines, remarks, and what cannot be read.
class DefaultsFile {
public:
    static constexpr qint64 largest = 1024 * 1024; // bytes

    explicit DefaultsFile(const QByteArray& content = {});

    QByteArray content() const;
    // The text of the last entry of that name; a section's name and a slash stand before a key of the
    // section.
    std::optional<QString> text(const QString& key) const;
    // In the place of the last entry of that name, or behind the last one that is in no section. The text has
    // no line break.
    void setText(const QString& key, const QString& text);
    void remove(const QString& key);

    // Lines that are neither an entry that can be read nor a section nor a remark, as they are.
    struct Unread {
        qsizetype line = 0; // from 1
        QByteArray content;
        bool operator==(const Unread&) const = default;
    };
    QList<Unread> unread() const;

private:
    // A line, or the several lines of one JSON value.
    struct Part {
        QString key; // empty: not an entry
        QByteArray before;
        QByteArray value;
        QByteArray after; // what ends the line
        bool isReadable = true;
        bool isInSection = false;

        QByteArray content() const { return before + value + after; }
    };

    Part takeLine(const QByteArray& content, qsizetype& at, QString& section);
    Part entry(const QByteArray& content, qsizetype start, qsizetype& end) const;
    qsizetype placeForNew() const;

    QByteArray m_mark; // of UTF-8, as some editors write it
    QByteArray m_lineEnd;
    QList<Part> m_parts;
};

} // namespace platform
