// Lento as a media player on a session bus of the test's own, driven as a desktop widget would.
#include "WindowFixture.h"

#include "app/MprisService.h"
#include "library/LTPlaylistStore.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QProcess>

namespace {

// Records what the service says on the bus.
class Listener : public QObject {
    Q_OBJECT
public:
    QVariantMap lastChanged;
    QList<qlonglong> seeks;
public slots:
    void propertiesChanged(const QString&, const QVariantMap& changed, const QStringList&) { lastChanged.insert(changed); }
    void seeked(qlonglong position) { seeks << position; }
};

struct MprisTest : WindowFixture {
    QProcess daemon;
    std::unique_ptr<MprisService> service;
    std::unique_ptr<QDBusConnection> client;
    Listener listener;

    void SetUp() override
    {
        WindowFixture::SetUp();
        daemon.start(QStringLiteral("dbus-daemon"), {"--session", "--nofork", "--print-address=1"});
        ASSERT_TRUE(daemon.waitForStarted(5000)) << "dbus-daemon is needed";
        ASSERT_TRUE(daemon.waitForReadyRead(5000));
        const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
        service = std::make_unique<MprisService>(vc.get(), QDBusConnection::connectToBus(address, "lento-service"));
        ASSERT_TRUE(service->isRegistered());
        client = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(address, "lento-client"));
        client->connect(MprisService::kServiceName, MprisService::kObjectPath, "org.freedesktop.DBus.Properties",
                        "PropertiesChanged", &listener, SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
        client->connect(MprisService::kServiceName, MprisService::kObjectPath, "org.mpris.MediaPlayer2.Player", "Seeked",
                        &listener, SLOT(seeked(qlonglong)));
    }
    void TearDown() override
    {
        service.reset();
        QDBusConnection::disconnectFromBus("lento-client");
        QDBusConnection::disconnectFromBus("lento-service");
        daemon.kill();
        daemon.waitForFinished(2000);
    }

    // A call answered while the window's events go on, as between two programs.
    QDBusMessage call(const QString& interface, const QString& method, const QVariantList& args = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(MprisService::kServiceName, MprisService::kObjectPath, interface, method);
        message.setArguments(args);
        QDBusPendingCall pending = client->asyncCall(message);
        waitFor([&] { return pending.isFinished(); }, 5000);
        settle();
        return pending.reply();
    }
    QDBusMessage player(const QString& method, const QVariantList& args = {}) { return call("org.mpris.MediaPlayer2.Player", method, args); }
    QVariant property(const QString& name)
    {
        const QDBusMessage reply = call("org.freedesktop.DBus.Properties", "Get", {"org.mpris.MediaPlayer2.Player", name});
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
};

} // namespace

TEST_F(MprisTest, PlaybackRatePositionAndThePlaylistWorkTheWindowAndEveryChangeIsAnnounced)
{
    EXPECT_EQ(property("PlaybackStatus").toString(), "Stopped");
    EXPECT_FALSE(property("CanGoNext").toBool()) << "an empty playlist";
    const QStringList songs{makeTrack("night train.wav", 4.0), makeTrack("two.wav")};
    for (const QString& song : songs)
        vc->libraryPlaylistManager()->selectedPlaylist()->items() << LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(song));
    vc->reloadPlaylistUI();
    EXPECT_TRUE(property("CanGoNext").toBool());
    EXPECT_TRUE(waitFor([&] { return listener.lastChanged.value("CanGoNext").toBool() && listener.lastChanged.value("CanGoPrevious").toBool(); }, 5000))
        << "a playlist to move in is told";
    ASSERT_TRUE(load(songs[0]));
    const QVariantMap metadata = qdbus_cast<QVariantMap>(property("Metadata"));
    EXPECT_EQ(metadata.value("xesam:url").toString(), QUrl::fromLocalFile(songs[0]).toString());
    EXPECT_EQ(metadata.value("xesam:title").toString(), "night train");
    EXPECT_EQ(metadata.value("mpris:length").toLongLong(), 4'000'000);
    EXPECT_TRUE(waitFor([&] { return listener.lastChanged.contains("Metadata"); }, 5000));

    player("PlayPause");
    EXPECT_EQ(accessible(vc->playButton()), "Pause") << "the window plays";
    EXPECT_TRUE(waitFor([&] { return listener.lastChanged.value("PlaybackStatus").toString() == "Playing"; }, 5000));
    player("PlayPause");
    EXPECT_FALSE(vc->player()->isPlaying());
    EXPECT_EQ(property("PlaybackStatus").toString(), "Paused");

    call("org.freedesktop.DBus.Properties", "Set", {"org.mpris.MediaPlayer2.Player", "Rate", QVariant::fromValue(QDBusVariant(0.75))});
    EXPECT_EQ(vc->speedLabel()->text(), "75 %");
    EXPECT_TRUE(waitFor([&] { return listener.lastChanged.value("Rate").toDouble() == 0.75; }, 5000));
    for (const auto& [extended, low, high] : {std::tuple{true, 0.2, 1.4}, {false, 0.5, 1.25}}) {
        vc->setExtendedSpeedRange(extended);
        EXPECT_EQ(std::pair(property("MinimumRate").toDouble(), property("MaximumRate").toDouble()), std::pair(low, high));
        EXPECT_TRUE(waitFor([&, low = low, high = high] {
            return listener.lastChanged.value("MinimumRate").toDouble() == low && listener.lastChanged.value("MaximumRate").toDouble() == high;
        }, 5000)) << "the range is told";
    }

    player("SetPosition", {QVariant::fromValue(QDBusObjectPath("/org/mpris/MediaPlayer2/Track/0")), qlonglong(3'000'000)});
    EXPECT_NEAR(vc->player()->currentTime(), 0.0, 0.01) << "a stale track id is ignored";
    player("SetPosition", {metadata.value("mpris:trackid"), qlonglong(2'000'000)});
    EXPECT_NEAR(vc->player()->currentTime(), 2.0, 0.01);
    ASSERT_TRUE(waitFor([&] { return !listener.seeks.isEmpty(); }, 5000));
    EXPECT_NEAR(double(listener.seeks.last()), 2'000'000.0, 10'000.0) << "and said";
    for (const auto& [offset, at] : {std::pair{qlonglong(500'000), 2.5}, {qlonglong(-3'000'000), 0.0}}) {
        player("Seek", {offset});
        EXPECT_NEAR(vc->player()->currentTime(), at, 0.01) << offset;
    }
    // A loop of half a second, played past its end: the position steps back, and that is told.
    vc->waveViewContainer()->selectRange({0.25, 0.375});
    player("Play");
    const qsizetype before = listener.seeks.size();
    for (int tick = 0; tick < 20; ++tick) {
        output().pull(2205); // 50 ms
        vc->updateTime();
    }
    ASSERT_TRUE(waitFor([&] { return listener.seeks.size() > before; }, 5000)) << "a Seeked at the wrap";
    EXPECT_NEAR(double(listener.seeks.last()), 1'050'000.0, 50'000.0) << "back at the loop's start";
    player("Stop");
    EXPECT_EQ(accessible(vc->playButton()), "Play") << "Stop ends the playing";
    EXPECT_TRUE(waitFor([&] { return listener.lastChanged.value("PlaybackStatus").toString() != "Playing"; }, 5000));

    for (const auto& [method, row] : {std::pair{"Next", 0}, {"Next", 1}, {"Next", 0}, {"Previous", 1}}) {
        SCOPED_TRACE(method);
        player(method);
        EXPECT_TRUE(waitFor([&, row = row] { return vc->currentTrackIndex() == row && vc->player()->fileURL().toLocalFile() == songs[row]; }));
    }
}

#include "MprisTest.moc"
