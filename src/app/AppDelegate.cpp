#include "app/AppDelegate.h"

#include "app/AboutText.h"
#include "app/ControlFormats.h"
#include "app/ExportProgressWindowController.h"
#include "app/SidebarIcons.h"
#include "app/ViewController.h"
#include "audio/AudioEngine.h"
#include "library/FileBookmark.h"
#include "library/LTMusicLibraryPlaylistManager.h"
#include "loops/LoopMarker.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "platform/Log.h"
#include "preferences/PreferencesController.h"
#include "preferences/UserDefaults.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QStandardPaths>

void AppDelegate::registerStartDefaults(UserDefaults& defaults)
{
    defaults.registerDefaults({{QStringLiteral("ApplePersistenceIgnoreState"), true},
                               {QStringLiteral("NSQuitAlwaysKeepsWindows"), false}});
    PreferencesController::initialize(defaults);
}

void AppDelegate::openPreferences()
{
    if (!m_preferences) {
        ViewController* vc = m_viewController;
        PreferencesController::Actions actions;
        actions.setColorTheme = [vc] { vc->setColorTheme(); };
        actions.setLoopWhenSelection = [vc] { vc->setLoopWhenSelection(); };
        actions.setExtendedSpeedRange = [vc](bool extended) { vc->setExtendedSpeedRange(extended); };
        actions.musicFoldersChanged = [vc](const QStringList& folders) { vc->setMusicLibraryFolders(folders); };
        actions.chordMethodChanged = [vc] { vc->chordMethodChanged(); };
        actions.infoText = aboutText;
        m_preferences = new PreferencesController(m_defaults, std::move(actions), m_window);
    }
    m_preferences->showWindow();
}

QStringList AppDelegate::openPanelNameFilters()
{
    QStringList patterns;
    for (const QString& type : AudioEngine::allowedFileTypes())
        patterns << QStringLiteral("*.") + type;
    patterns << QStringLiteral("*.flac") << QStringLiteral("*.ogg");
    return {tr("All audio (%1)").arg(patterns.join(QLatin1Char(' '))), tr("All files (*)")};
}

AppDelegate::AppDelegate(ViewController* viewController, UserDefaults& defaults, QObject* parent)
    : QObject(parent)
    , m_viewController(viewController)
    , m_defaults(defaults)
{
    connect(m_viewController, &ViewController::trackLoaded, this, &AppDelegate::showWindowTitle);
    connect(m_viewController, &ViewController::recentDocumentsChanged, this, &AppDelegate::rebuildOpenRecentMenu);
}

AppDelegate::~AppDelegate() = default;

QMainWindow* AppDelegate::createMainWindow()
{
    m_ownedWindow = std::make_unique<QMainWindow>();
    QMainWindow* window = m_ownedWindow.get();
    window->setWindowTitle(QStringLiteral("Lento"));
    window->setWindowIcon(SidebarIcons::applicationIcon());
    window->setCentralWidget(m_viewController->view());
    // A key sent to the window itself, with no view focused, still reaches the window's keys.
    window->installEventFilter(this);
    buildMainMenu(window->menuBar());
    m_viewController->setMainMenu(window->menuBar());
    m_viewController->setupLibrarySidebarMenu();
    m_viewController->syncTonePitchMenuState();
    window->resize(window->centralWidget()->sizeHint());
    setWindow(window);
    return window;
}

void AppDelegate::setWindow(QMainWindow* window)
{
    m_window = window;
}

void AppDelegate::buildMainMenu(QMenuBar* bar)
{
    ViewController* vc = m_viewController;

    QMenu* file = bar->addMenu(tr("&File"));
    file->addAction(tr("&Open…"), QKeySequence::Open, this, &AppDelegate::openDocument);
    m_openRecentMenu = file->addMenu(tr("Open &Recent"));
    rebuildOpenRecentMenu();
    file->addSeparator();
    QAction* rescan = file->addAction(tr("Rescan Music Library"), vc, [vc] {
        vc->libraryPlaylistManager()->musicLibrary()->rescan();
    });
    rescan->setObjectName(QStringLiteral("rescanMusicLibrary"));
    file->addSeparator();
    for (QAction* item : {file->addAction(tr("Export Practice Data…"), this, &AppDelegate::exportPracticeData),
                          file->addAction(tr("Import Practice Data…"), this, &AppDelegate::importPracticeData)}) {
        item->setEnabled(false);
        connect(m_viewController, &ViewController::trackLoaded, item, [item] { item->setEnabled(true); });
    }
    file->addSeparator();
    file->addAction(tr("&Close Window"), QKeySequence::Close, this, [this] {
        if (m_window)
            m_window->close();
    });
    file->addAction(tr("&Quit"), QKeySequence::Quit, qApp, &QApplication::quit);

    QMenu* edit = bar->addMenu(tr("&Edit"));
    edit->addAction(tr("&Preferences…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), this, &AppDelegate::openPreferences);

    // Export stands in third place of the menu bar.
    m_exportMenu = bar->addMenu(tr("E&xport"));
    QAction* exportItem = m_exportMenu->addAction(tr("Export Range as WAV…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S),
                                                  this, &AppDelegate::saveDocumentAs);
    exportItem->setEnabled(false);
    connect(m_viewController, &ViewController::trackLoaded, exportItem, [this, exportItem] {
        exportItem->setEnabled(!m_progressWindowController);
    });

    QMenu* view = bar->addMenu(tr("&View"));
    vc->setNoteOverlayMenuItem(view->addAction(tr("Show Chords"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K)));
    view->addSeparator();
    QAction* drawer = view->addAction(ControlFormats::menuText(tr("Show Tone & Pitch")),
                                      QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_T), vc, [vc] { vc->showSidebar(nullptr); });
    drawer->setObjectName(QStringLiteral("showSidebar"));

    QMenu* playback = bar->addMenu(tr("&Playback"));
    playback->addAction(tr("Play / Pause"), QKeySequence(Qt::CTRL | Qt::Key_P), vc, [vc] { vc->play(nullptr); });
    playback->addAction(tr("Stop"), QKeySequence(Qt::CTRL | Qt::Key_Period), vc, [vc] { vc->stop(nullptr); });
    playback->addAction(tr("Return to Start"), QKeySequence(Qt::CTRL | Qt::Key_Backspace), vc,
                        [vc] { vc->returnPlayPos(nullptr); });
    playback->addSeparator();
    playback->addAction(tr("Speed Up"), QKeySequence(Qt::CTRL | Qt::Key_Up), vc, [vc] { vc->incSpeed(nullptr); });
    playback->addAction(tr("Speed Down"), QKeySequence(Qt::CTRL | Qt::Key_Down), vc, [vc] { vc->decSpeed(nullptr); });
    playback->addSeparator();
    const auto soloItem = [&](const QString& title, QAbstractButton* button, Qt::Key key) {
        QAction* item = playback->addAction(title, QKeySequence(Qt::CTRL | Qt::ALT | key), button, &QAbstractButton::click);
        item->setCheckable(true);
        connect(button, &QAbstractButton::toggled, item, &QAction::setChecked);
    };
    soloItem(tr("Solo Left Channel"), vc->soloLeftButton(), Qt::Key_Left);
    soloItem(tr("Solo Right Channel"), vc->soloRightButton(), Qt::Key_Right);
    soloItem(tr("Cancel Centre"), vc->cancelCentreButton(), Qt::Key_C);
    soloItem(tr("Centre Only"), vc->centreOnlyButton(), Qt::Key_M);
    playback->addSeparator();
    QAction* next = playback->addAction(tr("Next Track"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Down), vc,
                                        [vc] { vc->nextTrack(nullptr); });
    next->setObjectName(QStringLiteral("nextTrack"));
    QAction* previous = playback->addAction(tr("Previous Track"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_Up), vc,
                                            [vc] { vc->previousTrack(nullptr); });
    previous->setObjectName(QStringLiteral("previousTrack"));
    playback->addSeparator();
    QAction* addCurrent = playback->addAction(tr("Add Current File to Playlist"), vc,
                                              [vc] { vc->addCurrentFileToPlaylist(nullptr); });
    addCurrent->setObjectName(QStringLiteral("addFilesToPlaylist"));
    QAction* addSelection = playback->addAction(tr("Add Library Selection to Playlist"), vc,
                                                [vc] { vc->addSelectionToPlaylist(nullptr); });
    addSelection->setObjectName(QStringLiteral("addMusicSelectionToPlaylist"));

    buildLoopsMenu(bar->addMenu(tr("&Loops")));

    QMenu* windowMenu = bar->addMenu(tr("&Window"));
    windowMenu->addAction(tr("Minimize"), QKeySequence(Qt::CTRL | Qt::Key_M), this, [this] {
        if (m_window)
            m_window->showMinimized();
    });
    windowMenu->addSeparator();
    windowMenu->addAction(QStringLiteral("Lento"), vc, &ViewController::openWindow);

    QMenu* help = bar->addMenu(tr("&Help"));
    help->addAction(tr("About Lento"), this, [this] {
        QMessageBox::about(m_window, tr("About Lento"), aboutText());
    });
}

void AppDelegate::buildLoopsMenu(QMenu* menu)
{
    WaveViewContainer* container = m_viewController->waveViewContainer();
    m_addLoopItem = menu->addAction(tr("Save Selection as Loop"), QKeySequence(Qt::CTRL | Qt::Key_L), container,
                                    [container] { container->addLoop(nullptr); });
    m_removeLoopItem = menu->addAction(tr("Remove Loop"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_L), container,
                                       [container] { container->removeLoop(nullptr); });
    m_removeAllLoopsItem = menu->addAction(tr("Remove All Loops"), m_viewController,
                                           [this] { m_viewController->removeAllLoops(nullptr); });
    menu->addSeparator();
    m_nextLoopItem = menu->addAction(tr("Next Loop"), QKeySequence(Qt::CTRL | Qt::Key_BracketRight), container,
                                     [container] { container->nextLoop(nullptr); });
    m_lastLoopItem = menu->addAction(tr("Previous Loop"), QKeySequence(Qt::CTRL | Qt::Key_BracketLeft), container,
                                     [container] { container->lastLoop(nullptr); });
    menu->addSeparator();
    // Shift moves ten times as far.
    const auto nudgeItem = [&](const QString& title, Qt::Key key, bool end, double seconds) {
        QAction* item = menu->addAction(title, container, [container, end, seconds] {
            const bool far = QGuiApplication::keyboardModifiers() & Qt::ShiftModifier;
            container->nudgeSelection(end, far ? seconds * 10.0 : seconds);
        });
        item->setShortcuts({QKeySequence(key), QKeySequence(Qt::SHIFT | key)});
        m_nudgeItems << item;
    };
    nudgeItem(tr("Move Start Earlier"), Qt::Key_Q, false, -0.01);
    nudgeItem(tr("Move Start Later"), Qt::Key_W, false, 0.01);
    nudgeItem(tr("Move End Earlier"), Qt::Key_O, true, -0.01);
    nudgeItem(tr("Move End Later"), Qt::Key_P, true, 0.01);
    connect(container, &WaveViewContainer::loopsChanged, this, &AppDelegate::syncLoopsMenu);
    connect(m_viewController, &ViewController::selectionDidChange, this, &AppDelegate::syncLoopsMenu);
    syncLoopsMenu();
}

void AppDelegate::syncLoopsMenu()
{
    if (!m_addLoopItem)
        return;
    const LoopMarker& loops = LoopMarker::sharedLoops();
    const SelectionView* selection = m_viewController->waveViewContainer()->selectionView();
    const bool saved = selection && loops.loopExist(selection->loop());
    m_addLoopItem->setEnabled(selection && selection->hasSelection() && !saved);
    m_removeLoopItem->setEnabled(saved);
    for (QAction* item : {m_removeAllLoopsItem.data(), m_nextLoopItem.data(), m_lastLoopItem.data()})
        item->setEnabled(loops.loopCount() > 0);
    for (const QPointer<QAction>& item : m_nudgeItems)
        if (item)
            item->setEnabled(selection && selection->hasSelection());
}

bool AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    // The type first: while the window is being torn down it still passes events here, and the
    // guarded pointer must not be read then.
    if (event->type() == QEvent::KeyPress && watched == m_window)
        return m_viewController->keyDown(static_cast<QKeyEvent*>(event));
    return QObject::eventFilter(watched, event);
}

void AppDelegate::rebuildOpenRecentMenu()
{
    if (!m_openRecentMenu)
        return;
    m_openRecentMenu->clear();
    const QStringList paths = m_viewController->recentDocuments();
    for (const QString& path : paths) {
        QAction* item = m_openRecentMenu->addAction(QFileInfo(path).fileName(), this,
                                                    [this, path] { applicationOpenFile(path); });
        item->setToolTip(path);
        item->setData(path);
    }
    if (!paths.isEmpty())
        m_openRecentMenu->addSeparator();
    QAction* clear = m_openRecentMenu->addAction(tr("Clear Menu"), m_viewController,
                                                 &ViewController::clearRecentDocuments);
    clear->setEnabled(!paths.isEmpty());
}

void AppDelegate::applicationWillFinishLaunching()
{
    QGuiApplication::setQuitOnLastWindowClosed(true);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &AppDelegate::applicationWillTerminate, Qt::UniqueConnection);
}

void AppDelegate::applicationWillTerminate()
{
    // A read still running would only be waited for and thrown away.
    m_viewController->cancelOpen();
    m_defaults.synchronize();
}

void AppDelegate::applicationDidFinishLaunching()
{
    const QUrl url = restoredLastTrackURL();
    if (!url.isEmpty())
        m_viewController->openAudioFromURL(url);
}

namespace {
bool fileExistsAt(const QUrl& url)
{
    return url.isLocalFile() && QFileInfo(url.toLocalFile()).isFile();
}
} // namespace

QUrl AppDelegate::restoredLastTrackURL()
{
    const QVariant stored = m_defaults.objectForKey(QStringLiteral("LastSongBookmark"));
    if (stored.typeId() == QMetaType::QByteArray && !stored.toByteArray().isEmpty()) {
        bool stale = false;
        QString error;
        const QUrl url = FileBookmark::URLByResolvingBookmarkData(stored.toByteArray(), &stale, &error);
        if (!url.isEmpty() && fileExistsAt(url)) {
            if (stale) {
                const QByteArray fresh = FileBookmark::bookmarkDataFromURL(url);
                if (!fresh.isEmpty())
                    m_defaults.setObject(fresh, QStringLiteral("LastSongBookmark"));
            }
            return url;
        }
        if (!error.isEmpty())
            Log::line(QStringLiteral("Failed to resolve last-song bookmark: %1").arg(error));
    }

    const QString string = m_defaults.stringForKey(QStringLiteral("LastSongURL"));
    if (!string.isEmpty()) {
        const QUrl url(string);
        if (url.isValid() && fileExistsAt(url))
            return url;
    }
    return {};
}

bool AppDelegate::applicationOpenFile(const QString& path)
{
    if (m_window && !m_window->isVisible()) {
        m_window->show();
        m_window->raise();
        m_window->activateWindow();
    }
    const QFileInfo info(path);
    if (!info.isFile())
        return false;
    m_viewController->openAudioFromURL(QUrl::fromLocalFile(info.absoluteFilePath()));
    return true;
}

QString AppDelegate::openPanelDirectory() const
{
    const QUrl current = m_viewController->player()->fileURL();
    if (current.isLocalFile()) {
        const QFileInfo folder(QFileInfo(current.toLocalFile()).absolutePath());
        if (folder.isDir())
            return folder.absoluteFilePath();
    }
    const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    return QFileInfo(music).isDir() ? music : QDir::homePath();
}

// Qt's own dialog and a platform's report the choice through different signals; the accepted
// dialog's selection is the one answer both give.
void AppDelegate::openDocument()
{
    auto* panel = new QFileDialog(m_window, tr("Open"));
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFileMode(QFileDialog::ExistingFile);
    panel->setNameFilters(openPanelNameFilters());
    panel->setDirectory(openPanelDirectory());
    panel->setWindowModality(Qt::WindowModal);
    connect(panel, &QDialog::accepted, this, [this, panel] {
        const QList<QUrl> urls = panel->selectedUrls();
        if (!urls.isEmpty() && urls.first().isLocalFile())
            applicationOpenFile(urls.first().toLocalFile());
    });
    panel->open();
}

// A save panel for something of the open track's, named after it with `ending`; `save` gets the
// chosen file. Nothing without a track.
void AppDelegate::openSavePanel(const QString& title, const QString& filter, const QString& ending,
                                std::function<void(const QUrl&)> save)
{
    const QUrl track = m_viewController->player()->fileURL();
    if (track.isEmpty() || !m_window)
        return;
    auto* panel = new QFileDialog(m_window, title);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setAcceptMode(QFileDialog::AcceptSave);
    panel->setNameFilter(filter);
    panel->setDefaultSuffix(ending.section(QLatin1Char('.'), -1));
    panel->selectFile(QFileInfo(track.fileName()).completeBaseName() + ending);
    panel->setWindowModality(Qt::WindowModal);
    connect(panel, &QDialog::accepted, this, [panel, save = std::move(save)] {
        const QList<QUrl> urls = panel->selectedUrls();
        if (!urls.isEmpty())
            save(urls.first());
    });
    panel->open();
}

void AppDelegate::saveDocumentAs()
{
    openSavePanel(tr("Export"), tr("WAV audio (*.wav)"), QStringLiteral(".wav"), [this](const QUrl& url) { exportToURL(url); });
}

void AppDelegate::exportPracticeData()
{
    openSavePanel(tr("Export Practice Data"), tr("Lento practice data (*.json)"), tr(" practice.json"), [this](const QUrl& url) {
        QString error;
        if (!PracticeDataFile::write(url.toLocalFile(), m_viewController->practiceData(), &error))
            showAlert(tr("The practice data could not be saved."), QStringLiteral("%1: %2").arg(url.toLocalFile(), error));
    });
}

void AppDelegate::importPracticeData()
{
    if (m_viewController->player()->fileURL().isEmpty() || !m_window)
        return;
    auto* panel = new QFileDialog(m_window, tr("Import Practice Data"));
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setFileMode(QFileDialog::ExistingFile);
    panel->setNameFilter(tr("Lento practice data (*.json)"));
    panel->setWindowModality(Qt::WindowModal);
    connect(panel, &QDialog::accepted, this, [this, panel] {
        const QString path = panel->selectedFiles().value(0);
        QString error;
        const std::optional<PracticeData> data = PracticeDataFile::read(path, &error);
        if (!data) {
            showAlert(tr("The practice data could not be imported."), QStringLiteral("%1: %2").arg(path, error));
            return;
        }
        // Loops are fractions of a track: on another sound they would mark other places.
        const QString own = m_viewController->practiceData().track.fingerprint;
        if (data->track.fingerprint.isEmpty() || own.isEmpty() || data->track.fingerprint == own) {
            m_viewController->importPracticeData(*data);
            return;
        }
        auto* ask = new QMessageBox(QMessageBox::Question, tr("Import Practice Data"),
                                    tr("This practice data was saved for another track, “%1”.").arg(data->track.name),
                                    QMessageBox::Cancel, m_window);
        ask->setAttribute(Qt::WA_DeleteOnClose);
        ask->setObjectName(QStringLiteral("otherTrackQuestion"));
        ask->setInformativeText(tr("Its loops may not fit this track."));
        QPushButton* anyway = ask->addButton(tr("Import Anyway"), QMessageBox::AcceptRole);
        ask->setWindowModality(Qt::WindowModal);
        connect(ask, &QMessageBox::buttonClicked, this, [this, anyway, data](QAbstractButton* clicked) {
            if (clicked == anyway)
                m_viewController->importPracticeData(*data);
        });
        ask->open();
    });
    panel->open();
}

void AppDelegate::showAlert(const QString& text, const QString& detail)
{
    auto* alert = new QMessageBox(QMessageBox::Warning, QStringLiteral("Lento"), text, QMessageBox::Ok, m_window);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setInformativeText(detail);
    alert->setWindowModality(Qt::WindowModal);
    alert->open();
}

void AppDelegate::exportToURL(const QUrl& url)
{
    AudioEngine* player = m_viewController->player();
    if (m_exportMenu) {
        for (QAction* item : m_exportMenu->actions())
            item->setEnabled(false);
    }
    m_progressWindowController = new ExportProgressWindowController(m_window);
    m_progressWindowController->setAttribute(Qt::WA_DeleteOnClose);
    QColor tint = m_viewController->colors().background;
    tint.setAlphaF(0.8f);
    m_progressWindowController->setBackgroundColor(tint);
    connect(m_progressWindowController, &ExportProgressWindowController::sheetEnded, this, [this, player](int code) {
        if (code == 0)
            player->setRenderAbort(true);
        if (m_exportMenu) {
            for (QAction* item : m_exportMenu->actions())
                item->setEnabled(true);
        }
    });
    m_progressWindowController->open();

    player->stop();
    m_viewController->returnPlayPos(nullptr);
    player->setExportProgress(this);
    player->exportToURL(url, QStringLiteral("wav"));
}

void AppDelegate::setProgressBar(double fraction)
{
    if (m_progressWindowController)
        m_progressWindowController->setProgressBar(fraction);
}

void AppDelegate::hideProgressBar()
{
    if (m_progressWindowController)
        m_progressWindowController->endSheet(0);
}

void AppDelegate::showWindowTitle(const QUrl& url)
{
    if (m_window)
        m_window->setWindowTitle(url.fileName());
}
