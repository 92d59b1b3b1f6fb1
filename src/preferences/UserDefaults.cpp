#include "preferences/UserDefaults.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>
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
    // QSettings saves through a temporary file and a rename; without this it would fall back to
    // rewriting the file in place where the folder takes no new files, and a crash then would
    // leave half a file. Qt's default, stated so no one turns it off unawares.
    m_settings->setAtomicSyncRequired(true);
    // A save killed between creating QSettings' lock file and writing its owner into it leaves the
    // lock empty, and Qt then waits half a minute at every save before it takes the lock as stale.
    // A live writer fills its lock at once, so an empty one is a dead writer's.
    QLockFile lock(filePath + QStringLiteral(".lock"));
    qint64 pid = 0;
    QString host, application;
    if (QFileInfo::exists(filePath + QStringLiteral(".lock")) && !lock.getLockInfo(&pid, &host, &application))
        lock.removeStaleLockFile();
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

// Old or new content whole, never half a file: see the constructor.
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
