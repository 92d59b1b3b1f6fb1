#pragma once

#include "app/AppDelegate.h"
#include "app/PracticePanel.h"
#include "app/ViewController.h"
#include "audio/VirtualOutput.h"
#include "common/Testing.h"
#include "common/Sanitizers.h"
#include "controls/WDButtonCell.h"
#include "controls/WDSlider.h"
#include "library/LTMusicLibraryPlaylistManager.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "preferences/PreferencesController.h"
#include "preferences/UserDefaults.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSpinBox>
#include <QStandardPaths>

// The real window and controller over a defaults file of their own and an engine that renders
// into a virtual output, so tests hear exactly what the graph gives out (or into what
// engineOptions name, set before SetUp).
// Members go in reverse: the delegate, then the controller, then the defaults.
struct WindowFixture : ::testing::Test {
    QTemporaryDir dir;
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<ViewController> vc;
    std::unique_ptr<AppDelegate> delegate;
    QMainWindow* window = nullptr;
    AudioEngine::Options engineOptions{[] { return std::make_unique<VirtualOutput>(512, 0); },
                                       AudioGraph::Rendering::InOutputCallback, false};

    void SetUp() override
    {
        // Qt's own dialog, the one a plain X11 session without a portal shows.
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        clearHome(QStandardPaths::AppDataLocation);
        QDir().mkpath(LENTO_ARTIFACTS_DIR); // for pictures of the window, looked at by people
        start();
    }

    // What a first launch finds, also when the tests share a process: no playlists, no tracks'
    // saved loops and settings, no library index (or, for the Music folder, no songs).
    static void clearHome(QStandardPaths::StandardLocation location)
    {
        const QString folder = QStandardPaths::writableLocation(location);
        ASSERT_TRUE(folder.startsWith(QDir::tempPath())) << "the test's own home, never the user's";
        QDir(folder).removeRecursively();
    }

    // Starts (again) over the same defaults file, as the next launch of the program does.
    void start(int width = 1200, int height = 760)
    {
        delegate.reset();
        vc.reset();
        defaults = std::make_unique<UserDefaults>(dir.filePath("Lento.conf"));
        AppDelegate::registerStartDefaults(*defaults);
        vc = std::make_unique<ViewController>(*defaults, engineOptions);
        vc->viewDidLoad();
        delegate = std::make_unique<AppDelegate>(vc.get(), *defaults);
        window = delegate->createMainWindow();
        window->resize(width, height);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        settle();
    }

    static void settle() { QCoreApplication::processEvents(); }

    // A stereo track at `name` (folders made as needed) in the test's folder.
    QString makeTrack(const QString& name, double seconds = 3.0)
    {
        return writeTrack(name, fixtures::stereoSines(44100, int64_t(seconds * 44100), 440.0, 0.25f));
    }
    QString writeTrack(const QString& name, const fixtures::Signal& signal)
    {
        const QString path = dir.filePath(name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        EXPECT_TRUE(fixtures::writeWav(path, signal));
        return path;
    }

    bool load(const QString& path) { return vc->loadAudioFromURL(QUrl::fromLocalFile(path)); }
    bool opened() { return waitFor([&] { return !vc->isOpening(); }); }
    VirtualOutput& output() { return static_cast<VirtualOutput&>(vc->player()->graph()->output()); }

    // Clicks the slider where its knob would stand for `value`, as a user's press does.
    static void clickAt(WDSlider* slider, double value, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const double f = (value - slider->minValue()) / (slider->maxValue() - slider->minValue());
        const int x = int(std::lround(WDSlider::kKnobSize / 2.0 + f * (slider->width() - WDSlider::kKnobSize)));
        QTest::mouseClick(slider, Qt::LeftButton, modifiers, QPoint(x, slider->height() / 2));
    }

    // A key pressed in the main window, as when it is the active window again.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers)
    {
        window->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window));
        QTest::keyClick(window, key, modifiers);
    }

    // The modal dialog up now, once it is shown.
    template <class Dialog = QFileDialog>
    static Dialog* shownDialog()
    {
        Dialog* shown = nullptr;
        waitFor([&] { return (shown = qobject_cast<Dialog*>(QApplication::activeModalWidget())) && shown->isVisible(); }, 5000);
        return shown;
    }

    // Replaces the dialog's file name with `text` and presses `key`, as a user types it.
    static void typeIntoDialog(QFileDialog* dialog, const QString& text, Qt::Key key = Qt::Key_Return)
    {
        QLineEdit* name = dialog ? dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")) : nullptr;
        ASSERT_NE(name, nullptr) << "a file dialog with its name field";
        name->setFocus();
        QTest::keyClick(name, Qt::Key_A, Qt::ControlModifier);
        // At a typist's pace: the dialog follows the typed folders as they appear.
        QTest::keyClicks(name, text, Qt::NoModifier, 5);
        QTest::keyClick(name, key);
    }

    static QString accessible(QWidget* widget, QAccessible::Text text = QAccessible::Name) { return QAccessible::queryAccessibleInterface(widget)->text(text); }

    // The item of a menu, or of the menu bar, that reads `text` on screen (mnemonics resolved).
    static QAction* itemShowing(QWidget* menu, const QString& text)
    {
        const QList<QAction*> items = menu->actions();
        const auto found = std::find_if(items.begin(), items.end(), [&](QAction* item) { return item->iconText() == text; });
        return found == items.end() ? nullptr : *found;
    }

    // Edit ▸ Preferences…, as a user opens the window.
    PreferencesController* openPreferences()
    {
        itemShowing(menuNamed("Edit"), "Preferences…")->trigger();
        settle();
        auto* prefs = window->findChild<PreferencesController*>();
        EXPECT_TRUE(prefs && prefs->isVisible());
        return prefs;
    }

    QMenu* menuNamed(const QString& title) const { return itemShowing(window->menuBar(), title)->menu(); }

    // Until `done` or a bound that a sanitized build stretches.
    template <typename Predicate>
    static bool waitFor(Predicate done, int timeoutMs = 20000)
    {
        QElapsedTimer timer;
        timer.start();
        while (!done() && timer.elapsed() < timing::scaled(timeoutMs))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        return done();
    }
};
