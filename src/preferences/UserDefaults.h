#pragma once

#include <QMutex>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>

// Persistent key-value store of the user's settings (~/.config/Lento/Lento.conf) with a layer of
// registered defaults that answer for missing keys and are never written to the file.
class UserDefaults {
public:
    static UserDefaults& standardUserDefaults();

    // A store over another file, for tests and tools.
    explicit UserDefaults(const QString& filePath);

    void registerDefaults(const QVariantMap& defaults);

    QVariant objectForKey(const QString& key) const;
    QString stringForKey(const QString& key) const;
    QByteArray dataForKey(const QString& key) const;
    bool boolForKey(const QString& key) const;
    double doubleForKey(const QString& key) const;

    void setObject(const QVariant& value, const QString& key);
    void removeObjectForKey(const QString& key);
    bool synchronize();

    QString filePath() const;

private:
    mutable QMutex m_mutex;
    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_registered;
};
