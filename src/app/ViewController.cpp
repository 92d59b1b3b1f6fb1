// Start, the open path and the engine's callbacks.
#include "app/ViewController.h"

#include "app/MainView.h"
#include "app/OpenProgressBar.h"
#include "app/TrackOpener.h"
#include "app/WavePane.h"
#include "audio/AudioEngine.h"
#include "controls/WDButtonCell.h"
#include "library/FileBookmark.h"
#include "library/LTMusicLibraryPlaylistManager.h"
#include "app/LibraryTableModel.h"
#include "app/PlaylistTableModel.h"
#include "loops/LoopMarker.h"
#include "loops/WaveViewContainer.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"
#include "platform/MainQueue.h"
#include "preferences/PreferencesController.h"
#include "platform/RecentDocuments.h"
#include "preferences/UserDefaults.h"

#include <QAbstractButton>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QPointer>

namespace {
const QString kRecentDocumentsKey = QStringLiteral("RecentDocuments");
}

ViewController::ViewController(UserDefaults& defaults, AudioEngine::Options engineOptions, QObject* parent)
    : QObject(parent)
    , m_defaults(defaults)
    , m_engineOptions(std::move(engineOptions))
    , m_opener(std::make_unique<TrackOpener>())
{
    connect(m_opener.get(), &TrackOpener::finished, this, &ViewController::openDidEnd);
}

ViewController::~ViewController()
{
    // The tables may outlive the manager their models read.
    delete m_libraryModel;
    delete m_playlistModel;
    m_libraryModel = nullptr;
    m_playlistModel = nullptr;
    if (m_ownedView)
        disconnect(m_ownedView.get(), nullptr, this, nullptr);
    m_opener.reset();
    stopNoteAnalysis();
    if (m_trackSettingsSave.isActive())
        savePendingTrackSettings(); // the controls may be gone with the window
    if (m_waveViewContainer)
        m_waveViewContainer->stopCursor();
    // The engine goes before the views it reports to.
    m_player.reset();
}

QWidget* ViewController::view() const
{
    return m_view;
}

void ViewController::viewDidLoad()
{
    m_currentTrackIndex = NotFound;
    clearPendingLoopCaptureState();
    // No track yet, so no saved loops.
    LoopMarker::sharedLoops().clearLoops();
    m_audioLoaded = false;
    m_player = std::make_unique<AudioEngine>(m_engineOptions);
    m_player->setDelegate(this);
    m_player->waveData()->setBinSize(2048);

    buildViews();
    connectControls();
    setSpeed(1.0);
    setExtendedSpeedRange(ColorTheme::flagForKey(m_defaults, QStringLiteral("ExtendedSpeedRange"), false));
    styleControls();
    setColorTheme();
    m_waveViewContainer->setupContainer();
    m_waveViewContainer->setDelegate(this);
    // The wave takes the keys first: arrows, L, and the transport keys it passes on.
    m_waveViewContainer->selectionView()->setFocus();
    m_libraryPlaylistManager = std::make_unique<LTMusicLibraryPlaylistManager>();

    setFilter(nullptr);
    m_toneButton->setChecked(false);
    filterEnable();
    pitch(nullptr);
    m_pitchButton->setChecked(false);
    pitchEnable();
    setVolume(nullptr);

    closeRightDrawerAtStart();
    setupLeftSidebarUI();
    configureBottomControlLayout();
    setupLibrarySidebarMenu();
    zoom(nullptr);
    updateTime();
    updateDurationLabel();
    setupNoteAnalysis();
    setupTrackSettings();
    loadPlaylists();
    reloadPlaylistUI();
    reloadMusicLibrary();
    setMusicLibraryFolders(m_defaults.objectForKey(PreferencesController::kMusicFoldersKey).toStringList());
}

bool ViewController::loadAudioFromURL(const QUrl& url)
{
    cancelOpen();
    return loadAudioSource(AudioSource::read(url));
}

void ViewController::openAudioFromURL(const QUrl& url)
{
    m_opener->open(url);
}

void ViewController::cancelOpen()
{
    m_opener->cancel();
}

bool ViewController::isOpening() const
{
    return m_opener->isRunning();
}

void ViewController::openDidEnd(const QUrl& url, std::shared_ptr<AudioSource> source)
{
    const bool loaded = loadAudioSource(std::move(*source));
    emit openFinished(url, loaded);
}

bool ViewController::loadAudioSource(AudioSource&& source)
{
    const QUrl url = source.url;
    const TrackIdentity identity{url.fileName(), source.fingerprint,
                                 source.inputFormat.sampleRate > 0 ? double(source.fileLength) / source.inputFormat.sampleRate : 0.0};
    // A refused source leaves the current track, its views and its loops as they are.
    if (!m_player->adoptSource(std::move(source)))
        return false;
    if (m_trackSettingsSave.isActive())
        saveTrackSettings(); // the last track's, before its controls are reset
    m_trackKey.clear();

    clearPendingLoopCaptureState();
    ++m_trackGeneration;
    m_currentTrackIndex = NotFound;
    m_currentPlayingItemUUID.clear();
    m_audioLoaded = true;
    m_waveViewContainer->setAudioLoaded(true);
    m_player->setLoop(false);
    // The engine's reset ended any playback without telling us.
    showPlayButtonStyle(WDButtonCell::Play);
    m_wavePane->waveScrollView()->waveView()->setWaveData(m_player->waveData());
    m_wavePane->overView()->setWaveData(m_player->waveData());
    emit trackLoaded(url);
    if (url.isLocalFile())
        noteNewRecentDocumentURL(url);

    setSpeed(1.0);
    pitch(nullptr);
    setFilter(nullptr);
    resetView();
    openTrackSettings(identity);
    scheduleNoteAnalysisForURL(url);
    rememberTrack(url);
    refreshSelectedPlaylistAvailability();
    reloadPlaylistUI();
    return true;
}

void ViewController::resetView()
{
    setPlayPosition(0.0f);
    updateDurationLabel();
    updateTime();
    m_waveViewContainer->resetView();
    zoom(nullptr);
}

void ViewController::openWindow()
{
    if (!m_view)
        return;
    QWidget* window = m_view->window();
    if (!window->isVisible())
        window->show();
    window->raise();
    window->activateWindow();
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

void ViewController::noteNewRecentDocumentURL(const QUrl& url)
{
    const QString path = url.toLocalFile();
    RecentDocuments().noteNewRecentDocumentURL(url, QMimeDatabase().mimeTypeForFile(path).name());
    m_defaults.setObject(RecentDocuments::updatedList(recentDocuments(), path), kRecentDocumentsKey);
    emit recentDocumentsChanged();
}

QStringList ViewController::recentDocuments() const
{
    return RecentDocuments::existingOnly(m_defaults.objectForKey(kRecentDocumentsKey).toStringList());
}

void ViewController::clearRecentDocuments()
{
    m_defaults.removeObjectForKey(kRecentDocumentsKey);
    emit recentDocumentsChanged();
}

void ViewController::audioPlayerDidFinishPlaying(AudioEngine*, bool)
{
    clearPendingLoopCaptureState();
    if (m_view)
        showPlayButtonStyle(WDButtonCell::Play);
}

bool ViewController::isCursorRunning() const
{
    return m_waveViewContainer && m_waveViewContainer->isCursorRunning();
}

bool ViewController::openDroppedURL(const QUrl& url)
{
    if (!url.isLocalFile() || !QFileInfo(url.toLocalFile()).isFile())
        return false;
    openAudioFromURL(url);
    return true;
}

float ViewController::viewWidth() const
{
    return m_view ? float(m_view->width()) : 0.0f;
}

void ViewController::audioPlayerDidFinishSetupSuccessfully(bool flag)
{
    QPointer<ViewController> self(this);
    const auto show = [self, flag] {
        if (!self)
            return;
        // The next Play opens the device again, so one that appeared since is simply used.
        self->showOutputStatus(flag ? QString() : tr("No sound output"));
        if (flag)
            self->m_waveViewContainer->startCursor();
    };
    MainQueue::isMainThread() ? show() : MainQueue::post(show);
}

void ViewController::audioPlayerWillReset()
{
    QPointer<ViewController> self(this);
    const auto halt = [self] {
        if (self)
            self->m_waveViewContainer->stopCursor();
    };
    MainQueue::isMainThread() ? halt() : MainQueue::post(halt);
}
