// The preferences window as a user works it: its panes, and what each setting does to the window.
#include "WindowFixture.h"

#include "library/LTMusicLibraryEntry.h"
#include "preferences/ColorTheme.h"

#include <QCheckBox>
#include <QListWidget>
#include <QToolBar>

#include <SDL.h>

namespace {

struct PreferencesTest : WindowFixture {
    QColor waveColour() const { return vc->waveViewContainer()->waveView()->fillColor(); }
};

} // namespace

// The theme, the loop setting, the speed range and a library folder act at once and last.
TEST_F(PreferencesTest, EachSettingActsOnTheWindowAtOnceAndLastsToTheNextStart)
{
    EXPECT_EQ(waveColour(), ColorTheme::waveColorForTheme(1)) << "a first start has theme 1";
    defaults->setObject(7, QStringLiteral("Theme"));
    vc->setColorTheme();
    EXPECT_EQ(waveColour(), ColorTheme::waveColorForTheme(7));
    EXPECT_EQ(vc->waveViewContainer()->overView()->fillColor(), waveColour()) << "the strip too";
    ASSERT_TRUE(load(makeTrack("scales.wav", 4.0)));
    PreferencesController* prefs = openPreferences();
    prefs->themeControl()->setCurrentIndex(3);
    emit prefs->themeControl()->activated(3);
    const QColor chosen = ColorTheme::colorTheme(*defaults).wave;
    EXPECT_NE(chosen, ColorTheme::waveColorForTheme(7));
    EXPECT_EQ(waveColour(), chosen);

    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    ASSERT_TRUE(vc->player()->isPlaying());
    prefs->loopControl()->setChecked(false);
    EXPECT_TRUE(vc->player()->isPlaying()) << "without a selection playback is left alone";
    vc->waveViewContainer()->selectionView()->setLoopWith({0.25, 0.5});
    vc->waveViewContainer()->setLoop(true);
    vc->waveViewContainer()->selectionChanged();
    EXPECT_FALSE(vc->player()->loop()) << "the setting is off";
    prefs->loopControl()->setChecked(true);
    EXPECT_TRUE(vc->player()->loop()) << "on again, the selection loops at once";
    EXPECT_TRUE(vc->player()->isPlaying()) << "and plays on";

    prefs->extendedSpeedControl()->setChecked(true);
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    makeTrack("elsewhere/Blue in Green.wav");
    prefs->addMusicFolder(dir.filePath("elsewhere"));
    EXPECT_EQ(prefs->folderList()->count(), 1);
    const auto listed = [&] {
        const auto& entries = vc->libraryPlaylistManager()->musicFilteredEntries();
        return std::any_of(entries.begin(), entries.end(), [](const auto& e) { return e->displayName().contains("Blue in Green"); });
    };
    EXPECT_TRUE(waitFor(listed)) << "the folder is scanned";

    start();
    EXPECT_EQ(waveColour(), chosen);
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    EXPECT_EQ(vc->speedSlider()->maxValue(), 1.4);
    EXPECT_TRUE(waitFor(listed)) << "the folder is read again at the next start";
}

TEST_F(PreferencesTest, PanesSwitchFromTheToolbarOneAtATimeAndNameTheWindow)
{
    PreferencesController* prefs = openPreferences();
    EXPECT_EQ(prefs->windowTitle(), "Preferences");
    const QPoint corner = prefs->geometry().topLeft();
    const QList<QAction*> items = prefs->findChild<QToolBar*>()->actions();
    for (const char* pane : {"Info", "Info", "Preferences"}) {
        SCOPED_TRACE(pane);
        const auto item = std::find_if(items.begin(), items.end(), [&](QAction* a) { return a->text() == pane; });
        ASSERT_NE(item, items.end());
        (*item)->trigger();
        waitFor([&] { return prefs->shownView() != nullptr; }, 3000);
        QTest::qWait(PWPrefsWindowController::kFadeMs + 100);
        const QList<QWidget*> views = prefs->contentSubview()->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
        EXPECT_EQ(std::count_if(views.begin(), views.end(), [](QWidget* v) { return !v->isHidden(); }), 1) << "one pane at a time";
        EXPECT_EQ(prefs->windowTitle(), pane);
        EXPECT_EQ(prefs->geometry().topLeft(), corner) << "the window keeps its top-left corner";
        EXPECT_TRUE(prefs->grab().save(QStringLiteral(LENTO_ARTIFACTS_DIR "/preferences-%1.png").arg(QString(pane).toLower())));
    }
    // Info names the libraries Lento runs on with their versions, as the running program reports them.
    SDL_version sdl;
    SDL_GetVersion(&sdl);
    const QList<QLabel*> labels = prefs->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [&](QLabel* label) {
        return label->text().contains(QStringLiteral("SDL %1.%2.%3, ").arg(sdl.major).arg(sdl.minor).arg(sdl.patch))
            && label->text().contains(QStringLiteral("Qt %1, ").arg(qVersion()));
    }));
    QTest::keyClick(prefs, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(prefs->isVisible()) << "Ctrl+W closes it";
}
