#include "app/ViewController.h"

#include "audio/AudioEngine.h"
#include "library/FileBookmark.h"
#include "preferences/UserDefaults.h"

ViewController::ViewController(UserDefaults& defaults, AudioEngine::Options engineOptions, QObject* parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_engineOptions(std::move(engineOptions))
{
}

ViewController::~ViewController() = default;

void ViewController::viewDidLoad()
{
    m_currentTrackIndex = NotFound;
    m_audioLoaded = false;
    m_player = std::make_unique<AudioEngine>(m_engineOptions);
    m_player->setDelegate(this);
    m_player->waveData()->setBinSize(2048);
}

bool ViewController::loadAudioFromURL(const QUrl& url)
{
    if (!m_player->readAudioDataFromURL(url))
        return false;

    m_currentTrackIndex = NotFound;
    m_currentPlayingItemUUID.clear();
    m_audioLoaded = true;
    m_player->setLoop(false);
    emit trackLoaded(url);
    rememberTrack(url);
    return true;
}

void ViewController::rememberTrack(const QUrl& url)
{
    const QString absolute = url.toString(QUrl::FullyEncoded);
    if (!absolute.isEmpty())
        m_defaults.setObject(absolute, QStringLiteral("LastSongURL"));
    const QByteArray bookmark = FileBookmark::bookmarkDataFromURL(url);
    if (!bookmark.isEmpty())
        m_defaults.setObject(bookmark, QStringLiteral("LastSongBookmark"));
    m_defaults.synchronize();
}

void ViewController::audioPlayerDidFinishPlaying(AudioEngine*, bool) {}

void ViewController::audioPlayerDidFinishSetupSuccessfully(bool) {}

void ViewController::audioPlayerWillReset() {}
