#pragma once

#include <QMainWindow>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include "audio/ExportProgress.h"

#include <functional>
#include <memory>

#include "app/ExportProgressWindowController.h"
class PreferencesController;
class QMenuBar;
class UserDefaults;
class ViewController;

// The application's delegate: start order, the main window and its menu bar, and every way a
// file reaches the controller (command line, open panel, Open Recent, the desktop's hand-over).
class AppDelegate : public QObject, public ExportProgress {
    Q_OBJECT
public:
    // Registered at process entry, before anything else reads the defaults.
    static void registerStartDefaults(UserDefaults& defaults);
    // The name filters of the open panel, from the engine's types and the common lossless ones.
    static QStringList openPanelNameFilters();

    AppDelegate(ViewController* viewController, UserDefaults& defaults, QObject* parent = nullptr);
    ~AppDelegate() override;

    // Makes the main window around the controller's view, with the menu bar; the delegate owns it.
    QMainWindow* createMainWindow();
    void setWindow(QMainWindow* window);
    QMainWindow* window() const { return m_window; }
    ViewController* viewController() const { return m_viewController; }
    QMenu* openRecentMenu() const { return m_openRecentMenu; }
    QMenu* exportMenu() const { return m_exportMenu; }
    ExportProgressWindowController* progressWindowController() const { return m_progressWindowController; }

    // The steps of an export once its file is chosen: menu, sheet, range, render.
    void exportToURL(const QUrl& url);
    void setProgressBar(double fraction) override;
    void hideProgressBar() override;

    // Closing the last window ends the application, as on every Linux desktop: a process with no
    // window could not be reached again.
    void applicationWillFinishLaunching();
    void applicationDidFinishLaunching();
    // Runs as the event loop ends, before anything is torn down.
    void applicationWillTerminate();
    // Brings the window back and starts reading the file; the window stays usable meanwhile.
    // False when there is no such file.
    bool applicationOpenFile(const QString& path);

    // The last track from the defaults: bookmark first, then the URL string; empty when neither
    // names an existing file.
    QUrl restoredLastTrackURL();
    // Where the open panel starts: the current track's folder, else the Music folder.
    QString openPanelDirectory() const;

public slots:
    void openDocument();
    // Export's entry; nothing to do without a track.
    void saveDocumentAs();
    // A track's saved loops and settings to and from a small file of their own.
    void exportPracticeData();
    void importPracticeData();
    void rebuildOpenRecentMenu();
    void openPreferences();
    // The Loops menu's items are enabled where they would act.
    void syncLoopsMenu();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void openSavePanel(const QString& title, const QString& filter, const QString& ending,
                       std::function<void(const QUrl&)> save);
    // A window-modal warning that does not hold up the caller.
    void showAlert(const QString& text, const QString& detail);
    void buildLoopsMenu(QMenu* menu);
    void showWindowTitle(const QUrl& url);
    void buildMainMenu(QMenuBar* menuBar);

    ViewController* m_viewController;
    UserDefaults& m_defaults;
    QPointer<QMainWindow> m_window;
    std::unique_ptr<QMainWindow> m_ownedWindow;
    QPointer<QMenu> m_openRecentMenu;
    QPointer<QMenu> m_exportMenu;
    QPointer<QAction> m_addLoopItem;
    QPointer<QAction> m_removeLoopItem;
    QPointer<QAction> m_removeAllLoopsItem;
    QPointer<QAction> m_nextLoopItem;
    QPointer<QAction> m_lastLoopItem;
    QList<QPointer<QAction>> m_nudgeItems;
    QPointer<ExportProgressWindowController> m_progressWindowController;
    QPointer<PreferencesController> m_preferences;
};
