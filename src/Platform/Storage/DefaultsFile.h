#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace platform {

// The lines of a settings file. What was written by hand stays byte for byte as it is, except for the values
// that change: order, blank lines, comments and lines that cannot be read.
class DefaultsFile {
public:
    static constexpr qint64 largest = 1024 * 1024; // bytes

    explicit DefaultsFile(const QByteArray& content = {});

    QByteArray content() const;
    // Returns the text of the last entry with that name. The key of an entry in a section is prefixed with
    // the section's name and a slash.
    std::optional<QString> text(const QString& key) const;
    // Replaces the text of the last entry with that name, or adds an entry after the last one outside
    // sections. The text must not contain a line break.
    void setText(const QString& key, const QString& text);
    void remove(const QString& key);

    // A line that is not a readable entry, a section or a comment.
    struct Unread {
        qsizetype line = 0; // from 1
        QByteArray content;
        bool operator==(const Unread&) const = default;
    };
    QList<Unread> unread() const;

private:
    // A line, or the several lines of one JSON value.
    struct Part {
        QString key; // empty if this is not an entry
        QByteArray before;
        QByteArray value;
        QByteArray after; // the end of the line
        bool isReadable = true;
        bool isInSection = false;

        QByteArray content() const { return before + value + after; }
    };

    Part takeLine(const QByteArray& content, qsizetype& at, QString& section);
    Part entry(const QByteArray& content, qsizetype start, qsizetype& end) const;
    qsizetype placeForNew() const;

    QByteArray m_mark; // the UTF-8 byte order mark that some editors write
    QByteArray m_lineEnd;
    QList<Part> m_parts;
};

} // namespace platform
