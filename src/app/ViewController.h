#pragma once

#include "audio/AudioEngine.h"
#include "audio/AudioPlayerDelegate.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <memory>

class UserDefaults;

// The main window's controller: owns the engine and turns every way of opening a track into one
// ordered sequence of steps.
class ViewController : public QObject, public AudioPlayerDelegate {
    Q_OBJECT
public:
    static constexpr int64_t NotFound = 0x7FFFFFFFFFFFFFFF;

    explicit ViewController(UserDefaults& defaults, AudioEngine::Options engineOptions = {}, QObject* parent = nullptr);
    ~ViewController() override;

    void viewDidLoad();
    bool loadAudioFromURL(const QUrl& url);

    AudioEngine* player() const { return m_player.get(); }
    bool audioLoaded() const { return m_audioLoaded; }
    int64_t currentTrackIndex() const { return m_currentTrackIndex; }
    void setCurrentTrackIndex(int64_t index) { m_currentTrackIndex = index; }
    QString currentPlayingItemUUID() const { return m_currentPlayingItemUUID; }
    void setCurrentPlayingItemUUID(const QString& uuid) { m_currentPlayingItemUUID = uuid; }

    void audioPlayerDidFinishPlaying(AudioEngine* player, bool successfully) override;
    void audioPlayerDidFinishSetupSuccessfully(bool flag) override;
    void audioPlayerWillReset() override;

signals:
    // A track has become current; the views take its data and the window its title.
    void trackLoaded(const QUrl& url);

private:
    void rememberTrack(const QUrl& url);

    UserDefaults& m_defaults;
    AudioEngine::Options m_engineOptions;
    std::unique_ptr<AudioEngine> m_player;
    bool m_audioLoaded = false;
    int64_t m_currentTrackIndex = NotFound;
    QString m_currentPlayingItemUUID;
};
