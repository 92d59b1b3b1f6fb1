#pragma once

#include "audio/AudioEngine.h"
#include "analysis/LTChordSegment.h"
#include "analysis/NoteAnalysisCache.h"
#include "audio/AudioPlayerDelegate.h"
#include "loops/LoopDataStore.h"
#include "loops/MainController.h"
#include "loops/PracticeDataFile.h"
#include "preferences/ColorTheme.h"

#include <QMenuBar>
#include <QObject>
#include <QPushButton>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QFutureWatcher>
#include <QJsonArray>
#include <QUrl>

#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>

class PracticePanel;
class QAbstractButton;
class QComboBox;
class QKeyEvent;
class QLabel;
class QLineEdit;
class QMimeData;
class QTableView;
class QSplitter;
class LibraryTableModel;
class LTMusicLibraryPlaylistManager;
class PlaylistTableModel;

class QAction;

class QWidget;
class LTSplitView;
class MainView;
class OpenProgressBar;
class TrackOpener;
class UserDefaults;
class WDButtonCell;
class WDSlider;
class WavePane;
class WaveViewContainer;

// The main window's controller: owns the engine and the main view, maps every control to the
// engine's unit, lays the window out, and turns every way of opening a track into one ordered
// sequence of steps. Its code is split by area: ViewController.cpp (start and the open path),
// ViewControllerTransport.cpp, ViewControllerKeyboard.cpp, ViewControllerLayout.cpp,
// ViewControllerTheme.cpp.
class ViewController : public QObject,
                       public AudioPlayerDelegate,
                       public MainController,
                       public WaveViewContainerDelegate {
    Q_OBJECT
    // Bound both ways to the speed slider: moving the slider sets it, setting it moves the slider.
    Q_PROPERTY(double speed READ getSpeed WRITE setSpeed NOTIFY speedChanged)
public:
    static constexpr int64_t NotFound = 0x7FFFFFFFFFFFFFFF;
    static constexpr int kLibrarySidebarMenuTag = 41022;
    static constexpr double kSpeedStep = 0.05;
    static constexpr double kDefaultDrawerWidth = 200.0;
    static constexpr double kMinimumDrawerWidth = 120.0;
    static constexpr double kLeftPanelWidth = 360.0;
    static constexpr double kLeftPanelSnap = 110.0;

    explicit ViewController(UserDefaults& defaults, AudioEngine::Options engineOptions = {}, QObject* parent = nullptr);
    ~ViewController() override;

    void viewDidLoad();
    // The main view, made in viewDidLoad; the window that shows it takes it over.
    QWidget* view() const;

    // --- Opening (ViewController.cpp) ---
    // Reads on the calling thread, then runs the remaining steps. True when the track is current.
    bool loadAudioFromURL(const QUrl& url);
    // Reads on a worker while the window goes on; the steps after the read run on the main thread
    // and openFinished reports the end. A second open cancels the first.
    void openAudioFromURL(const QUrl& url);
    void cancelOpen();
    bool isOpening() const;
    TrackOpener* opener() const { return m_opener.get(); }
    // The steps that follow a read. A refused source changes nothing.
    bool loadAudioSource(AudioSource&& source);
    void resetView();
    void openWindow();

    AudioEngine* player() const override { return m_player.get(); }
    WaveViewContainer* waveViewContainer() const { return m_waveViewContainer; }
    bool audioLoaded() const { return m_audioLoaded; }
    int64_t currentTrackIndex() const { return m_currentTrackIndex; }
    void setCurrentTrackIndex(int64_t index) { m_currentTrackIndex = index; }
    QString currentPlayingItemUUID() const { return m_currentPlayingItemUUID; }
    void setCurrentPlayingItemUUID(const QString& uuid) { m_currentPlayingItemUUID = uuid; }
    // The application's own recent list, most recent first.
    QStringList recentDocuments() const;
    void clearRecentDocuments();

    void audioPlayerDidFinishPlaying(AudioEngine* player, bool successfully) override;
    void audioPlayerDidFinishSetupSuccessfully(bool flag) override;
    void audioPlayerWillReset() override;
    bool isCursorRunning() const;

    // --- Transport and parameters (ViewControllerTransport.cpp) ---
    double getSpeed() const { return m_speed; }
    bool loop() const;
    void setLoop(bool loop) override;
    // Moves the play position to `seconds`, keeping play or pause, and drops the selection.
    void seekTo(double seconds);
    // Counts the tracks opened, so a stale reference to an earlier one can be told apart.
    uint64_t trackGeneration() const { return m_trackGeneration; }
    // The selected playlist has tracks to step through.
    bool canGoToNextTrack() const;
    void removeAllLoops(QObject* sender = nullptr);
    bool openDroppedURL(const QUrl& url) override;
    float viewWidth() const override;
    void selectionChangedAction() override;

    // --- Keys and loop capture (ViewControllerKeyboard.cpp) ---
    // Return, Space and the two strokes of L; true when the key was the window's own.
    bool keyDown(QKeyEvent* event);
    static bool isEventLoopCaptureShortcut(const QKeyEvent& event);
    void captureLoopSelectionWithPlayhead(QObject* sender) override;
    void clearPendingLoopCaptureState();
    bool isLoopCapturePending() const override { return m_awaitingLoopCaptureEnd; }
    float loopCaptureStartPosition() const override { return m_pendingLoopCaptureStart; }

    // --- Chords over the wave (ViewControllerNotes.cpp) ---
    void applyNoteSegments(const QList<LTChordSegment>& segments, double duration);
    void updateNoteOverlayVisibility();
    void toggleNoteOverlay(QObject* sender = nullptr);
    void syncNoteOverlayMenuState();
    void setNoteOverlayMenuItem(QAction* item);
    // Looks the track's chords up in the cache, or finds them on a worker while the window goes on.
    void scheduleNoteAnalysisForURL(const QUrl& url);
    QString noteAnalysisCachePath() const;
    // The estimator the "ChordMethod" setting names; the precise one when it names none.
    ChordMethod chordMethod() const;
    // After the setting changed: the open track's chords by the method now chosen.
    void chordMethodChanged();
    bool noteOverlayEnabled() const { return m_noteOverlayEnabled; }
    // From the start of a run until its result has been applied, or dropped.
    bool isNoteAnalysisRunning() const { return m_noteAnalysisPending; }
    uint64_t noteAnalysisGeneration() const { return m_noteAnalysisGeneration; }
    NoteAnalysisCache* noteAnalysisCache() const { return m_noteAnalysisCache.get(); }
    QLabel* chordLabel() const { return m_chordLabel; }

    // --- Layout (ViewControllerLayout.cpp) ---
    void configureBottomControlLayout();
    void toggleTonePitchSidebarNow();
    void syncTonePitchMenuState();
    void setupLibrarySidebarMenu();
    void syncLibrarySidebarMenuState();
    void setupLeftSidebarUI();
    void setLeftMusicPanelVisible(bool visible, bool persist);
    void enforceLeftPanelWidthIfNeeded();
    void persistLeftPanelState();
    static double clampedLeftPanelWidth(double width);
    bool isRightDrawerOpen() const;
    bool isLeftPanelShown() const;
    double rightDrawerExpandedWidth() const { return m_rightDrawerExpandedWidth; }
    void setRightDrawerExpandedWidth(double width) { m_rightDrawerExpandedWidth = width; }
    double rightDrawerConstant() const { return m_rightDrawerConstant; }
    bool leftPanelVisible() const { return m_leftPanelVisible; }
    // The split view's rule for where divider `index` may stand.
    double constrainSplitPosition(double proposed, int index);
    void splitViewDidResizeSubviews();
    // A double click on a divider collapses the left panel or the drawer, never the wave.
    bool splitViewShouldCollapseSubview(QWidget* subview) const;
    void collapseSubview(QWidget* subview);
    void setMainMenu(QMenuBar* menuBar) { m_mainMenu = menuBar; }
    QAction* librarySidebarMenuItem() const { return m_librarySidebarMenuItem; }

    // --- Theme (ViewControllerTheme.cpp) ---
    void setColorTheme();
    void setExtendedSpeedRange(bool extended);
    // With a selection: its looping follows the preference at once, playing on if it played.
    void setLoopWhenSelection();
    // The folders the music library reads besides the Music folder.
    void setMusicLibraryFolders(const QStringList& folders);
    const ColorTheme& colors() const override { return m_colors; }

    // --- Practice data (ViewControllerTrackSettings.cpp) ---
    // The open track's saved loops and settings.
    PracticeData practiceData() const;
    // Adds the loops not saved yet and takes the settings, whatever the preference says.
    void importPracticeData(const PracticeData& data);

    // The controls, for the window's wiring and for tests.
    WDSlider* speedSlider() const { return m_speedSlider; }
    WDSlider* zoomSlider() const { return m_zoomSlider; }
    WDSlider* volumeSlider() const { return m_volumeSlider; }
    WDSlider* toneSlider() const { return m_toneSlider; }
    WDSlider* pitchCoarseSlider() const { return m_pitchCoarseSlider; }
    WDSlider* pitchFineSlider() const { return m_pitchFineSlider; }
    QAbstractButton* toneButton() const { return m_toneButton; }
    QAbstractButton* pitchButton() const { return m_pitchButton; }
    QAbstractButton* soloLeftButton() const { return m_soloLeft; }
    QAbstractButton* soloRightButton() const { return m_soloRight; }
    QAbstractButton* cancelCentreButton() const { return m_cancelCentre; }
    QAbstractButton* centreOnlyButton() const { return m_centreOnly; }
    PracticePanel* practicePanel() const { return m_practice; }
    WDButtonCell* playButton() const { return m_playButton; }
    WDButtonCell* returnButton() const { return m_returnButton; }
    QAbstractButton* sidebarButton() const { return m_sidebarButton; }
    QAbstractButton* leftSidebarButton() const { return m_leftSidebarButton; }
    QLabel* speedLabel() const { return m_speedLabel; }
    QLabel* zoomLabel() const { return m_zoomLabel; }
    QLabel* volumeLabel() const { return m_volumeLabel; }
    QLabel* toneLabel() const { return m_toneLabel; }
    QLabel* pitchLabel() const { return m_pitchLabel; }
    QLabel* timeLabel() const { return m_timeLabel; }
    QLabel* durationLabel() const { return m_durationLabel; }
    // Under the time: why Play did nothing (no sound output); hidden while there is nothing to say.
    QLabel* outputStatusLabel() const { return m_outputStatusLabel; }
    LTSplitView* verticalSplitView() const { return m_verticalSplitView; }
    QWidget* rightDrawer() const { return m_rightDrawer; }
    QWidget* leftSidebarView() const { return m_leftSidebarView; }
    WavePane* wavePane() const { return m_wavePane; }
    OpenProgressBar* openProgressBar() const { return m_openProgressBar; }

    LTMusicLibraryPlaylistManager* libraryPlaylistManager() const { return m_libraryPlaylistManager.get(); }
    QTableView* musicLibraryTableView() const { return m_musicLibraryTableView; }
    QTableView* playlistTracksTableView() const { return m_playlistTracksTableView; }
    QComboBox* librarySourcePopupButton() const { return m_librarySourcePopupButton; }
    QComboBox* playlistSelectorPopup() const { return m_playlistSelectorPopup; }
    QLineEdit* librarySearchField() const { return m_librarySearchField; }
    QLabel* libraryScanLabel() const { return m_libraryScanLabel; }
    QAbstractButton* deletePlaylistButton() const { return m_deletePlaylistButton; }

    void loadPlaylists();
    void reloadPlaylistUI();
    void reloadPlaylistSelector();
    void reloadMusicLibrary();
    void applyMusicFilter();
    void refreshSelectedPlaylistAvailability();
    void playPlaylistTrackAtIndex(int64_t row, bool autoplay);
    static double clampedLeftPanelTopRatio(double ratio);
    void restoreLeftPanelTopSplitRatio();
    void persistLeftPanelTopRatio();
    QSplitter* leftPanelSplitView() const { return m_leftPanelSplitView; }

public slots:
    void play(QObject* sender = nullptr);
    void stop(QObject* sender = nullptr);
    void returnPlayPos(QObject* sender = nullptr);
    void setPlayPosition(float fraction);
    void setSpeed(double value);
    void incSpeed(QObject* sender = nullptr);
    void decSpeed(QObject* sender = nullptr);
    void setVolume(QObject* sender);
    void setFilter(QObject* sender);
    void filterEnable(QObject* sender = nullptr);
    void pitch(QObject* sender);
    void pitchEnable(QObject* sender = nullptr);
    void soloChannel(QObject* sender);
    void zoom(QObject* sender = nullptr);
    void setZoom(double factor) override;
    void updateTime() override;
    // The speed trainer: the speed control follows the passes heard; a stop, a new selection or
    // a speed set by hand ends the run.
    void applyPassPlan();
    void followTrainer();
    void endTrainerRun();
    void trainerSlower();
    void updateDurationLabel();
    void showSidebar(QObject* sender = nullptr);
    void toggleLeftMusicPanel(QObject* sender = nullptr);
    void createNewPlaylist(QObject* sender = nullptr);
    void switchPlaylist(QObject* sender = nullptr);
    void deleteCurrentPlaylist(QObject* sender = nullptr);
    void renameCurrentPlaylist(QObject* sender = nullptr);
    void selectMusicSource(QObject* sender = nullptr);
    void onLibrarySearchChanged(QObject* sender = nullptr);
    void addSelectionToPlaylist(QObject* sender = nullptr);
    void addCurrentFileToPlaylist(QObject* sender = nullptr);
    void removeSelectedTrackFromPlaylist(QObject* sender = nullptr);
    void playSelectionFromMusicLibrary(QObject* sender = nullptr);
    void onPlaylistTrackDoubleClick(QObject* sender = nullptr);
    void nextTrack(QObject* sender = nullptr);
    void previousTrack(QObject* sender = nullptr);

signals:
    void speedChanged(double speed);
    // A track has become current; the views take its data and the window its title.
    void trackLoaded(const QUrl& url);
    // A non-blocking open ended: loaded, refused or failed (not sent for a cancelled one).
    void openFinished(const QUrl& url, bool loaded);
    void recentDocumentsChanged();
    // The selection over the wave has changed and the engine plays it.
    void selectionDidChange();
    void playbackStateChanged();
    void speedRangeChanged();
    // The play position moved other than by playing on: a seek, a new range, a loop's wrap.
    void positionJumped();

private:
    // ViewController.cpp
    void rememberTrack(const QUrl& url);
    void noteNewRecentDocumentURL(const QUrl& url);
    void openDidEnd(const QUrl& url, std::shared_ptr<AudioSource> source);
    // ViewControllerLayout.cpp
    void buildViews();
    void buildWaveViews();
    void buildRightDrawer();
    void buildBottomStrip(QWidget* root);
    void closeRightDrawerAtStart();
    void applyRightDrawerConstant();
    void moveLeftDivider(double position);
    void buildLeftSidebarContents(QWidget* panel);
    void playlistOpenDidEnd(const QUrl& url, bool loaded);
    // ViewControllerDragDrop.cpp
    Qt::DropAction validatePlaylistDrop(const QMimeData* data, bool fromPlaylist);
    bool acceptPlaylistDrop(const QMimeData* data, int row, bool fromPlaylist);
    bool movePlaylistRows(const QStringList& uuids, int row);
    bool insertDroppedTracks(const QMimeData* data, int row);
    // ViewControllerTransport.cpp
    void connectControls();
    void styleControls();
    void showPlayButtonStyle(int style);
    void showOutputStatus(const QString& text);
    // The label shows the text, and the sliders report it as their value.
    void showValue(QLabel* label, std::initializer_list<WDSlider*> sliders, const QString& text);
    // Runs an action the way a user's move of `slider` does, with Alt as it was held.
    void connectSlider(WDSlider* slider, void (ViewController::*action)(QObject*));
    double pitchCents() const;
    // ViewControllerNotes.cpp
    void setupNoteAnalysis();
    void noteAnalysisDidEnd(uint64_t generation, const QString& key);
    void showCurrentChord();
    void stopNoteAnalysis();
    // ViewControllerTrackSettings.cpp: speed, pitch, tone, solo and selection kept per track
    void setupTrackSettings();
    void openTrackSettings(const TrackIdentity& track);
    QJsonObject trackSettings() const;
    void applyTrackSettings(const QJsonObject& settings);
    void trackSettingsChanged();
    void saveTrackSettings();
    void savePendingTrackSettings();
    void takeLoopTrainers(const QJsonObject& settings);
    void showLoopTrainer();
    void keepLoopTrainer();

    UserDefaults& m_defaults;
    AudioEngine::Options m_engineOptions;
    std::unique_ptr<AudioEngine> m_player;
    std::unique_ptr<TrackOpener> m_opener;
    bool m_audioLoaded = false;
    int64_t m_currentTrackIndex = NotFound;
    QString m_currentPlayingItemUUID;
    ColorTheme m_colors;

    double m_speed = 1.0;
    // Alt held during the user's move that is being handled: the reset gesture.
    bool m_altHeld = false;
    bool m_bindingSpeed = false;
    bool m_followingTrainer = false;
    uint64_t m_noteAnalysisGeneration = 0;
    std::unique_ptr<NoteAnalysisCache> m_noteAnalysisCache;
    bool m_noteAnalysisCacheLoaded = false;
    bool m_noteOverlayEnabled = false;
    QPointer<QAction> m_noteOverlayMenuItem;
    QFutureWatcher<QList<LTChordSegment>> m_noteAnalysis;
    std::shared_ptr<std::atomic<bool>> m_noteAnalysisCancel;
    uint64_t m_noteAnalysisRunGeneration = 0;
    QString m_noteAnalysisRunKey;
    bool m_noteAnalysisPending = false;
    QList<LTChordSegment> m_noteSegments;
    bool m_awaitingLoopCaptureEnd = false;
    uint64_t m_trackGeneration = 0;
    TrackIdentity m_trackIdentity;
    QString m_trackKey;
    QTimer m_trackSettingsSave;
    QJsonObject m_pendingTrackSettings;
    QJsonArray m_loopTrainers; // per saved loop: "left", "right" and the trainer's values
    bool m_applyingTrackSettings = false;
    double m_lastShownTime = 0.0;
    float m_pendingLoopCaptureStart = 0.0f;

    double m_rightDrawerExpandedWidth = 0.0;
    double m_rightDrawerConstant = kDefaultDrawerWidth;
    bool m_leftPanelVisible = true;
    double m_leftPanelExpandedWidth = kLeftPanelWidth;
    bool m_applyingLeftPanelState = false;
    QPointer<QMenuBar> m_mainMenu;
    QPointer<QAction> m_librarySidebarMenuItem;

    std::unique_ptr<MainView> m_ownedView; // until a window takes it
    QPointer<MainView> m_view;
    LTSplitView* m_verticalSplitView = nullptr;
    QWidget* m_leftSidebarView = nullptr;
    WavePane* m_wavePane = nullptr;
    WaveViewContainer* m_waveViewContainer = nullptr;
    QWidget* m_rightDrawer = nullptr;
    OpenProgressBar* m_openProgressBar = nullptr;
    WDSlider* m_speedSlider = nullptr;
    WDSlider* m_zoomSlider = nullptr;
    WDSlider* m_volumeSlider = nullptr;
    WDSlider* m_toneSlider = nullptr;
    WDSlider* m_pitchCoarseSlider = nullptr;
    WDSlider* m_pitchFineSlider = nullptr;
    QPushButton* m_toneButton = nullptr;
    QPushButton* m_pitchButton = nullptr;
    QPushButton* m_soloLeft = nullptr;
    QPushButton* m_soloRight = nullptr;
    QPushButton* m_cancelCentre = nullptr;
    QPushButton* m_centreOnly = nullptr;
    PracticePanel* m_practice = nullptr;
    WDButtonCell* m_playButton = nullptr;
    WDButtonCell* m_returnButton = nullptr;
    QPushButton* m_sidebarButton = nullptr;
    QPushButton* m_leftSidebarButton = nullptr;
    QLabel* m_speedLabel = nullptr;
    QLabel* m_zoomLabel = nullptr;
    QLabel* m_volumeLabel = nullptr;
    QLabel* m_toneLabel = nullptr;
    QLabel* m_pitchLabel = nullptr;
    QLabel* m_timeLabel = nullptr;
    QLabel* m_durationLabel = nullptr;
    QLabel* m_outputStatusLabel = nullptr;
    QLabel* m_chordLabel = nullptr;
    QList<QLabel*> m_drawerTitles;

    std::unique_ptr<LTMusicLibraryPlaylistManager> m_libraryPlaylistManager;
    LibraryTableModel* m_libraryModel = nullptr;
    PlaylistTableModel* m_playlistModel = nullptr;
    QTableView* m_musicLibraryTableView = nullptr;
    QTableView* m_playlistTracksTableView = nullptr;
    QComboBox* m_librarySourcePopupButton = nullptr;
    QComboBox* m_playlistSelectorPopup = nullptr;
    QLineEdit* m_librarySearchField = nullptr;
    QLabel* m_libraryScanLabel = nullptr;
    QSplitter* m_leftPanelSplitView = nullptr;
    bool m_leftPanelTopRatioInitialized = false;
    QAbstractButton* m_deletePlaylistButton = nullptr;
    QAbstractButton* m_addSelectionButton = nullptr;
    // A playlist row being opened in the background: it becomes current once the open succeeds.
    QUrl m_pendingPlaylistURL;
    QString m_pendingPlaylistItemUUID;
    int64_t m_pendingPlaylistRow = NotFound;
    bool m_pendingAutoplay = false;
    bool m_pendingLibraryPlay = false;
    QUrl m_pendingLibraryURL;
};
