#include "app/MprisService.h"

#include "app/ViewController.h"
#include "audio/AudioEngine.h"
#include "controls/WDSlider.h"
#include "loops/WaveViewContainer.h"

#include <QAbstractItemModel>
#include <QCoreApplication>
#include <QDBusMessage>
#include <QMetaClassInfo>
#include <QFile>
#include <QFileInfo>
#include <QTableView>

#include <taglib/fileref.h>
#include <taglib/tag.h>

#include <cmath>

namespace {

const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
constexpr double kMicroseconds = 1e6;

QVariantMap tagsOf(const QUrl& url)
{
    QVariantMap tags;
    if (!url.isLocalFile())
        return tags;
    const TagLib::FileRef file(QFile::encodeName(url.toLocalFile()).constData(), false);
    if (file.isNull() || !file.tag())
        return tags;
    const auto text = [](const TagLib::String& s) { return QString::fromStdString(s.to8Bit(true)).trimmed(); };
    if (const QString title = text(file.tag()->title()); !title.isEmpty())
        tags.insert(QStringLiteral("xesam:title"), title);
    if (const QString artist = text(file.tag()->artist()); !artist.isEmpty())
        tags.insert(QStringLiteral("xesam:artist"), QStringList{artist});
    if (const QString album = text(file.tag()->album()); !album.isEmpty())
        tags.insert(QStringLiteral("xesam:album"), album);
    return tags;
}

} // namespace

MprisService::MprisService(ViewController* controller, QDBusConnection bus, QObject* parent)
    : QObject(parent)
    , m_controller(controller)
    , m_bus(std::move(bus))
{
    auto* player = new MprisPlayerAdaptor(this);
    new MprisRootAdaptor(this);
    if (!m_bus.isConnected())
        return;
    m_registered = m_bus.registerObject(QString::fromLatin1(kObjectPath), this)
                   && m_bus.registerService(QString::fromLatin1(kServiceName));

    connect(controller, &ViewController::playbackStateChanged, this,
            [this] { propertiesChanged(kPlayerInterface, {QStringLiteral("PlaybackStatus")}); });
    connect(controller, &ViewController::speedChanged, this,
            [this] { propertiesChanged(kPlayerInterface, {QStringLiteral("Rate")}); });
    connect(controller, &ViewController::speedRangeChanged, this, [this] {
        propertiesChanged(kPlayerInterface, {QStringLiteral("MinimumRate"), QStringLiteral("MaximumRate")});
    });
    connect(controller->volumeSlider(), &DoubleValueSlider::doubleValueChanged, this,
            [this] { propertiesChanged(kPlayerInterface, {QStringLiteral("Volume")}); });
    connect(controller, &ViewController::trackLoaded, this, [this](const QUrl& url) {
        m_tags = tagsOf(url);
        propertiesChanged(kPlayerInterface, {QStringLiteral("Metadata"), QStringLiteral("PlaybackStatus"),
                                             QStringLiteral("CanPlay"), QStringLiteral("CanPause"), QStringLiteral("CanSeek")});
    });
    connect(controller, &ViewController::positionJumped, player, [player, this] { emit player->Seeked(position()); });

    // Next and Previous depend on the playlist only: told when a change makes them possible or not.
    m_couldMove = player->canGoNext();
    const auto playlistChanged = [this, player] {
        if (const bool can = player->canGoNext(); can != m_couldMove) {
            m_couldMove = can;
            propertiesChanged(kPlayerInterface, {QStringLiteral("CanGoNext"), QStringLiteral("CanGoPrevious")});
        }
    };
    if (const QTableView* table = controller->playlistTracksTableView(); table && table->model()) {
        const QAbstractItemModel* model = table->model();
        connect(model, &QAbstractItemModel::modelReset, this, playlistChanged);
        connect(model, &QAbstractItemModel::rowsInserted, this, playlistChanged);
        connect(model, &QAbstractItemModel::rowsRemoved, this, playlistChanged);
    }
}

MprisService::~MprisService()
{
    if (m_registered) {
        m_bus.unregisterService(QString::fromLatin1(kServiceName));
        m_bus.unregisterObject(QString::fromLatin1(kObjectPath));
    }
}

QString MprisService::playbackStatus() const
{
    AudioEngine* player = m_controller->player();
    if (player->isPlaying())
        return QStringLiteral("Playing");
    return player->fileURL().isEmpty() ? QStringLiteral("Stopped") : QStringLiteral("Paused");
}

QVariantMap MprisService::metadata() const
{
    const AudioEngine* player = m_controller->player();
    if (player->fileURL().isEmpty())
        return {};
    QVariantMap map = m_tags;
    map.insert(QStringLiteral("mpris:trackid"),
               QVariant::fromValue(QDBusObjectPath(QStringLiteral("/org/mpris/MediaPlayer2/Track/%1").arg(m_controller->trackGeneration()))));
    map.insert(QStringLiteral("mpris:length"), qlonglong(std::llround(player->duration() * kMicroseconds)));
    map.insert(QStringLiteral("xesam:url"), player->fileURL().toString());
    if (!map.contains(QStringLiteral("xesam:title")))
        map.insert(QStringLiteral("xesam:title"), QFileInfo(player->fileURL().path()).completeBaseName());
    return map;
}

qlonglong MprisService::position() const
{
    return qlonglong(std::llround(m_controller->player()->currentTime() * kMicroseconds));
}

double MprisService::minimumRate() const
{
    return m_controller->speedSlider()->minValue();
}

double MprisService::maximumRate() const
{
    return m_controller->speedSlider()->maxValue();
}

void MprisService::propertiesChanged(const QString& interface, const QStringList& names)
{
    if (!m_registered)
        return;
    QVariantMap changed;
    for (const QString& name : names) {
        const QObject* adaptor = nullptr;
        for (const QObject* child : children())
            if (auto* a = qobject_cast<const QDBusAbstractAdaptor*>(child);
                a && QString::fromLatin1(a->metaObject()->classInfo(a->metaObject()->indexOfClassInfo("D-Bus Interface")).value()) == interface)
                adaptor = a;
        if (adaptor)
            changed.insert(name, adaptor->property(name.toLatin1().constData()));
    }
    QDBusMessage signal = QDBusMessage::createSignal(QString::fromLatin1(kObjectPath),
                                                     QStringLiteral("org.freedesktop.DBus.Properties"),
                                                     QStringLiteral("PropertiesChanged"));
    signal << interface << changed << QStringList();
    m_bus.send(signal);
}

// --- org.mpris.MediaPlayer2 ---

MprisRootAdaptor::MprisRootAdaptor(MprisService* service)
    : QDBusAbstractAdaptor(service)
    , m_service(service)
{
}

QStringList MprisRootAdaptor::supportedMimeTypes() const
{
    return {QStringLiteral("audio/x-wav"), QStringLiteral("audio/x-aiff"), QStringLiteral("audio/mpeg"),
            QStringLiteral("audio/mp4"), QStringLiteral("audio/x-m4a"), QStringLiteral("audio/x-m4b"),
            QStringLiteral("audio/x-caf")};
}

void MprisRootAdaptor::Raise()
{
    m_service->controller()->openWindow();
}

void MprisRootAdaptor::Quit()
{
    QCoreApplication::quit();
}

// --- org.mpris.MediaPlayer2.Player ---

MprisPlayerAdaptor::MprisPlayerAdaptor(MprisService* service)
    : QDBusAbstractAdaptor(service)
    , m_service(service)
{
    setAutoRelaySignals(false);
}

double MprisPlayerAdaptor::rate() const
{
    return m_service->controller()->getSpeed();
}

void MprisPlayerAdaptor::setRate(double rate)
{
    // A rate of 0 would mean pause to some players; here it is out of range and goes to the limit.
    m_service->controller()->setSpeed(std::clamp(rate, m_service->minimumRate(), m_service->maximumRate()));
}

double MprisPlayerAdaptor::volume() const
{
    return m_service->controller()->volumeSlider()->doubleValue();
}

void MprisPlayerAdaptor::setVolume(double volume)
{
    ViewController* controller = m_service->controller();
    controller->volumeSlider()->setDoubleValue(volume);
    controller->setVolume(controller->volumeSlider());
}

bool MprisPlayerAdaptor::canGoNext() const
{
    return m_service->controller()->canGoToNextTrack();
}

bool MprisPlayerAdaptor::canGoPrevious() const
{
    // Previous wraps round from the first row to the last, as Next does from the last to the first.
    return m_service->controller()->canGoToNextTrack();
}

bool MprisPlayerAdaptor::canPlay() const
{
    return !m_service->controller()->player()->fileURL().isEmpty();
}

void MprisPlayerAdaptor::Next()
{
    m_service->controller()->nextTrack(nullptr);
}

void MprisPlayerAdaptor::Previous()
{
    m_service->controller()->previousTrack(nullptr);
}

void MprisPlayerAdaptor::Pause()
{
    if (m_service->controller()->player()->isPlaying())
        m_service->controller()->play(nullptr);
}

void MprisPlayerAdaptor::PlayPause()
{
    if (canPlay())
        m_service->controller()->play(nullptr);
}

void MprisPlayerAdaptor::Stop()
{
    m_service->controller()->stop(nullptr);
}

void MprisPlayerAdaptor::Play()
{
    if (canPlay() && !m_service->controller()->player()->isPlaying())
        m_service->controller()->play(nullptr);
}

void MprisPlayerAdaptor::Seek(qlonglong offset)
{
    const double seconds = m_service->controller()->player()->currentTime() + double(offset) / kMicroseconds;
    m_service->controller()->seekTo(std::max(0.0, seconds));
}

void MprisPlayerAdaptor::SetPosition(const QDBusObjectPath& trackId, qlonglong position)
{
    const QVariantMap data = m_service->metadata();
    if (data.value(QStringLiteral("mpris:trackid")).value<QDBusObjectPath>() != trackId)
        return; // for a track that is no longer the current one
    m_service->controller()->seekTo(double(position) / kMicroseconds);
}

void MprisPlayerAdaptor::OpenUri(const QString& uri)
{
    const QUrl url(uri);
    if (url.isLocalFile())
        m_service->controller()->openDroppedURL(url);
}
