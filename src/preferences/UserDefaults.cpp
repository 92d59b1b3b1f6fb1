#include "preferences/UserDefaults.h"

#include <QDir>
#include <QMutexLocker>
#include <QStandardPaths>

UserDefaults& UserDefaults::standardUserDefaults()
{
    static UserDefaults defaults(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                                 + QStringLiteral("/Lento/Lento.conf"));
    return defaults;
}

UserDefaults::UserDefaults(const QString& filePath)
    : m_settings(std::make_unique<QSettings>(filePath, QSettings::IniFormat))
{
}

void UserDefaults::registerDefaults(const QVariantMap& defaults)
{
    QMutexLocker lock(&m_mutex);
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        m_registered.insert(it.key(), it.value());
}

QVariant UserDefaults::objectForKey(const QString& key) const
{
    QMutexLocker lock(&m_mutex);
    if (m_settings->contains(key))
        return m_settings->value(key);
    return m_registered.value(key);
}

QString UserDefaults::stringForKey(const QString& key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QByteArray UserDefaults::dataForKey(const QString& key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QByteArray ? value.toByteArray() : QByteArray();
}

bool UserDefaults::boolForKey(const QString& key) const
{
    return objectForKey(key).toBool();
}

double UserDefaults::doubleForKey(const QString& key) const
{
    return objectForKey(key).toDouble();
}

void UserDefaults::setObject(const QVariant& value, const QString& key)
{
    QMutexLocker lock(&m_mutex);
    if (value.isValid())
        m_settings->setValue(key, value);
    else
        m_settings->remove(key);
}

void UserDefaults::removeObjectForKey(const QString& key)
{
    setObject(QVariant(), key);
}

// QSettings writes the file through a temporary and a rename, so a crash never leaves half a file.
bool UserDefaults::synchronize()
{
    QMutexLocker lock(&m_mutex);
    m_settings->sync();
    return m_settings->status() == QSettings::NoError;
}

QString UserDefaults::filePath() const
{
    return m_settings->fileName();
}
