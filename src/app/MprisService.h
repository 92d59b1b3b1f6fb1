#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

class ViewController;

// Lento on the session bus as a media player (MPRIS 2): media keys, desktop widgets and other
// programs play, pause, seek and change the speed through it, and hear of every change.
class MprisService : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kServiceName = "org.mpris.MediaPlayer2.lento";
    static constexpr const char* kObjectPath = "/org/mpris/MediaPlayer2";

    MprisService(ViewController* controller, QDBusConnection bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);
    ~MprisService() override;
    // False without a bus, or when another Lento holds the name: the window runs as before.
    bool isRegistered() const { return m_registered; }

    ViewController* controller() const { return m_controller; }
    QString playbackStatus() const;
    QVariantMap metadata() const;
    qlonglong position() const;
    double minimumRate() const;
    double maximumRate() const;

    // Tells listeners that these properties changed, with their new values.
    void propertiesChanged(const QString& interface, const QStringList& names);

private:
    ViewController* m_controller;
    QDBusConnection m_bus;
    bool m_registered = false;
    bool m_couldMove = false;
    QVariantMap m_tags;
};

class MprisRootAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ canQuit)
    Q_PROPERTY(bool CanRaise READ canRaise)
    Q_PROPERTY(bool HasTrackList READ hasTrackList)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ supportedUriSchemes)
    Q_PROPERTY(QStringList SupportedMimeTypes READ supportedMimeTypes)
public:
    explicit MprisRootAdaptor(MprisService* service);
    bool canQuit() const { return true; }
    bool canRaise() const { return true; }
    bool hasTrackList() const { return false; }
    QString identity() const { return QStringLiteral("Lento"); }
    QString desktopEntry() const { return QStringLiteral("lento"); }
    QStringList supportedUriSchemes() const { return {QStringLiteral("file")}; }
    QStringList supportedMimeTypes() const;
public slots:
    void Raise();
    void Quit();

private:
    MprisService* m_service;
};

class MprisPlayerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double MinimumRate READ minimumRate)
    Q_PROPERTY(double MaximumRate READ maximumRate)
    Q_PROPERTY(bool CanGoNext READ canGoNext)
    Q_PROPERTY(bool CanGoPrevious READ canGoPrevious)
    Q_PROPERTY(bool CanPlay READ canPlay)
    Q_PROPERTY(bool CanPause READ canPlay)
    Q_PROPERTY(bool CanSeek READ canPlay)
    Q_PROPERTY(bool CanControl READ canControl)
public:
    explicit MprisPlayerAdaptor(MprisService* service);
    QString playbackStatus() const { return m_service->playbackStatus(); }
    double rate() const;
    void setRate(double rate);
    QVariantMap metadata() const { return m_service->metadata(); }
    double volume() const;
    void setVolume(double volume);
    qlonglong position() const { return m_service->position(); }
    double minimumRate() const { return m_service->minimumRate(); }
    double maximumRate() const { return m_service->maximumRate(); }
    bool canGoNext() const;
    bool canGoPrevious() const;
    bool canPlay() const;
    bool canControl() const { return true; }
public slots:
    void Next();
    void Previous();
    void Pause();
    void PlayPause();
    void Stop();
    void Play();
    void Seek(qlonglong offset);
    void SetPosition(const QDBusObjectPath& trackId, qlonglong position);
    void OpenUri(const QString& uri);
signals:
    void Seeked(qlonglong position);

private:
    MprisService* m_service;
};
