#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

namespace platform {

// The user's settings: strings, numbers, booleans and byte blocks by key. Main thread. A write is on disk
// when the call returns. A value of another type reads as absent.
class DefaultsStore {
public:
    virtual ~DefaultsStore() = default;

    virtual bool contains(const QString& key) const = 0;
    virtual std::optional<QString> string(const QString& key) const = 0;
    virtual std::optional<bool> boolean(const QString& key) const = 0;
    virtual std::optional<qint64> integer(const QString& key) const = 0;
    virtual std::optional<double> real(const QString& key) const = 0;
    virtual std::optional<QByteArray> data(const QString& key) const = 0;

    virtual void setString(const QString& key, const QString& value) = 0;
    virtual void setBool(const QString& key, bool value) = 0;
    virtual void setInteger(const QString& key, qint64 value) = 0;
    virtual void setDouble(const QString& key, double value) = 0;
    virtual void setData(const QString& key, const QByteArray& value) = 0;
    virtual void remove(const QString& key) = 0;
};

// Opens an INI file that can be read and edited by hand and is private to the user (mode 0600).
std::unique_ptr<DefaultsStore> makeFileDefaultsStore(const QString& path);
// Keeps the settings in memory, for tests.
std::unique_ptr<DefaultsStore> makeMemoryDefaultsStore();

} // namespace platform
