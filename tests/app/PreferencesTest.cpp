// The preferences window as a user works it: its panes, and what each setting does to the window.
#include "WindowFixture.h"

#include "library/LTMusicLibraryEntry.h"
#include "preferences/ColorTheme.h"

#include <QToolBar>

#include <SDL.h>

using PreferencesTest = WindowFixture;

// The theme, the loop setting, the speed range and a library folder act at once and last; the
// Info pane tells what Lento runs on.
TEST_F(PreferencesTest, EachSettingActsOnTheWindowAtOnceAndLastsToTheNextStartAndInfoNamesTheLibraries)
{
    const auto waveColour = [&] { return vc->waveViewContainer()->waveView()->fillColor(); };
    EXPECT_EQ(waveColour(), ColorTheme::waveColorForTheme(1)) << "a first start has theme 1";
    ASSERT_TRUE(load(makeTrack("scales.wav", 4.0)));
    PreferencesController* prefs = openPreferences();
    prefs->themeControl()->setCurrentIndex(3);
    emit prefs->themeControl()->activated(3);
    const QColor chosen = ColorTheme::colorTheme(*defaults).wave;
    EXPECT_NE(chosen, ColorTheme::waveColorForTheme(1));
    EXPECT_EQ(waveColour(), chosen);
    EXPECT_EQ(vc->waveViewContainer()->overView()->fillColor(), chosen) << "the strip too";

    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    ASSERT_TRUE(vc->player()->isPlaying());
    prefs->loopControl()->setChecked(false);
    EXPECT_TRUE(vc->player()->isPlaying()) << "without a selection playback is left alone";
    vc->waveViewContainer()->selectRange({0.25, 0.5});
    EXPECT_FALSE(vc->player()->loop()) << "the setting is off";
    prefs->loopControl()->setChecked(true);
    EXPECT_TRUE(vc->player()->loop()) << "on again, the selection loops at once";
    EXPECT_TRUE(vc->player()->isPlaying()) << "and plays on";

    prefs->extendedSpeedControl()->setChecked(true);
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    makeTrack("elsewhere/Blue in Green.wav");
    prefs->addMusicFolder(dir.filePath("elsewhere"));
    const auto listed = [&] {
        const auto& entries = vc->libraryPlaylistManager()->musicFilteredEntries();
        return std::any_of(entries.begin(), entries.end(), [](const auto& e) { return e->displayName().contains("Blue in Green"); });
    };
    EXPECT_TRUE(waitFor(listed)) << "the folder is scanned";

    // Info names the libraries Lento runs on with their versions, as the running program reports them.
    for (QAction* item : prefs->findChild<QToolBar*>()->actions())
        if (item->text() == "Info")
            item->trigger();
    QTest::qWait(PWPrefsWindowController::kFadeMs + 100);
    SDL_version sdl;
    SDL_GetVersion(&sdl);
    const QList<QLabel*> labels = prefs->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [&](QLabel* label) {
        return label->text().contains(QStringLiteral("SDL %1.%2.%3, ").arg(sdl.major).arg(sdl.minor).arg(sdl.patch))
            && label->text().contains(QStringLiteral("Qt %1, ").arg(qVersion()));
    }));
    QTest::keyClick(prefs, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(prefs->isVisible()) << "Ctrl+W closes it";

    start();
    EXPECT_EQ(waveColour(), chosen);
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    EXPECT_EQ(vc->speedSlider()->maxValue(), 1.4);
    EXPECT_TRUE(waitFor(listed)) << "the folder is read again at the next start";
}
