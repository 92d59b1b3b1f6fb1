// The preferences window as a user works it: its panes, and what each setting does to the window.
#include "WindowFixture.h"

#include "library/LTMusicLibraryEntry.h"

#include <QListWidget>
#include <QParallelAnimationGroup>

#include <SDL.h>

using PreferencesTest = WindowFixture;

namespace {
// How many pixels of what `widget` shows are `colour`, give or take one 8-bit step.
int pixelsOf(QWidget* widget, const QColor& colour)
{
    const QImage image = widget->grab().toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor p = image.pixelColor(x, y);
            count += std::abs(p.red() - colour.red()) <= 1 && std::abs(p.green() - colour.green()) <= 1 && std::abs(p.blue() - colour.blue()) <= 1;
        }
    return count;
}
} // namespace

// The theme, the loop setting, the speed range and a library folder act at once and last; the
// panes switch as one window; the Info pane tells what Lento is and runs on.
TEST_F(PreferencesTest, EachSettingActsOnTheWindowAtOnceAndLastsToTheNextStartAndInfoNamesTheLibraries)
{
    ASSERT_TRUE(load(makeTrack("scales.wav", 4.0)));
    // The theme's colours in 8-bit steps: wave by theme; background 0.157, 0.208, 0.251; key 0.85;
    // icon 0.114; the system's dark grey (1/3) and grey (1/2).
    const QColor background(40, 53, 64), key(217, 217, 217), icon(29, 29, 29), darkGrey(85, 85, 85);
    const auto expectTheme = [&](const QColor& wave, const char* theme) {
        SCOPED_TRACE(theme);
        struct Shown { QWidget* widget; QColor colour; int atLeast; const char* what; };
        for (const Shown& s : {Shown{vc->waveViewContainer()->waveView(), wave, 10000, "the wave"},
                               Shown{vc->waveViewContainer()->waveView(), background, 10000, "behind the wave"},
                               Shown{vc->waveViewContainer()->overView(), wave, 10000, "the overview's fill"},
                               Shown{vc->speedSlider(), darkGrey, 500, "the speed slider's track"},
                               Shown{vc->speedSlider(), key, 500, "its bar"}, Shown{vc->speedSlider(), icon, 10, "its knob"},
                               Shown{vc->playButton(), key, 300, "the play button's disc"}, Shown{vc->playButton(), icon, 30, "its symbol"},
                               Shown{vc->leftSidebarView(), key, 10000, "the sidebar"}})
            EXPECT_GE(pixelsOf(s.widget, s.colour), s.atLeast) << s.what << " in " << s.colour.name().toStdString();
    };
    expectTheme(QColor(36, 210, 90), "1, a first start's");
    QCoreApplication::setApplicationVersion("2.5.1"); // as the program's start sets it
    PreferencesController* prefs = openPreferences();
    defaults->setObject(7, "Theme"); // none of the four named ones, as an edited file may hold
    prefs->setColorTheme();
    expectTheme(QColor(255, 176, 107), "7, the one for any other value");
    prefs->themeControl()->setCurrentIndex(3);
    emit prefs->themeControl()->activated(3);
    const QColor sky(34, 187, 214);
    EXPECT_GE(pixelsOf(vc->waveViewContainer()->waveView(), sky), 10000) << "the theme chosen";

    // The stops of the player node tell a stop and a resume from a setting left alone.
    const auto stops = [&] { return vc->player()->graph()->playerNode().epoch(); };
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    output().pull(4410);
    uint32_t before = stops();
    prefs->loopControl()->setChecked(false);
    EXPECT_EQ(stops(), before) << "without a selection playback is left alone";
    vc->waveViewContainer()->selectRange({0.25, 0.5});
    EXPECT_FALSE(vc->player()->loop()) << "the setting is off";
    before = stops();
    prefs->loopControl()->setChecked(true);
    EXPECT_GT(stops(), before) << "on again with a selection, playback stops";
    EXPECT_TRUE(vc->player()->isPlaying()) << "and resumes";
    output().pull(44100 + 4410);
    settle();
    EXPECT_TRUE(vc->player()->isPlaying());
    EXPECT_TRUE(vc->player()->currentTime() >= 1.0 && vc->player()->currentTime() < 2.0) << "looping within the selection, 1 s to 2 s";

    prefs->extendedSpeedControl()->setChecked(true);
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    makeTrack("elsewhere/Blue in Green.wav");
    prefs->addMusicFolder(dir.filePath("elsewhere"));
    const auto listed = [&] {
        const auto& entries = vc->libraryPlaylistManager()->musicFilteredEntries();
        return std::any_of(entries.begin(), entries.end(), [](const auto& e) { return e->displayName().contains("Blue in Green"); });
    };
    EXPECT_TRUE(waitFor(listed)) << "the folder is scanned";

    // One pane at a time, named in the title; the window grows or shrinks below its top-left corner.
    const auto button = [&](const QString& text) {
        const auto buttons = prefs->findChildren<QAbstractButton*>();
        return *std::find_if(buttons.begin(), buttons.end(), [&](QAbstractButton* b) { return b->text() == text; });
    };
    const auto fade = [&]() -> QAbstractAnimation* {
        const auto running = prefs->findChildren<QParallelAnimationGroup*>();
        const auto it = std::find_if(running.begin(), running.end(), [](auto* a) { return a->state() == QAbstractAnimation::Running; });
        return it == running.end() ? nullptr : *it;
    };
    const auto panesShown = [&] {
        const auto panes = prefs->contentSubview()->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
        return std::count_if(panes.begin(), panes.end(), [](QWidget* pane) { return pane->isVisible(); });
    };
    EXPECT_TRUE(prefs->grab().save(LENTO_ARTIFACTS_DIR "/preferences-preferences.png"));
    const QRect general = prefs->geometry();
    const auto switchTo = [&](const QString& pane, Qt::KeyboardModifiers modifiers, int fadeMs) {
        SCOPED_TRACE(pane.toStdString());
        QTest::mouseClick(button(pane), Qt::LeftButton, modifiers);
        ASSERT_TRUE(fade());
        EXPECT_EQ(fade()->duration(), fadeMs);
        EXPECT_EQ(panesShown(), 2) << "cross-fading";
        EXPECT_TRUE(waitFor([&] { return !fade(); }, 3000));
        EXPECT_EQ(panesShown(), 1);
        EXPECT_EQ(prefs->windowTitle().toStdString(), pane.toStdString());
        EXPECT_EQ(prefs->geometry().topLeft(), general.topLeft());
    };
    switchTo("Info", Qt::NoModifier, 250);
    EXPECT_NE(prefs->height(), general.height()) << "the Info pane's own size";
    QTest::mouseClick(button("Info"), Qt::LeftButton);
    EXPECT_FALSE(fade()) << "the pane shown already";
    EXPECT_TRUE(prefs->grab().save(LENTO_ARTIFACTS_DIR "/preferences-info.png"));

    // Info tells the version and licence, and the libraries Lento runs on with their versions, as the running program reports them.
    SDL_version sdl;
    SDL_GetVersion(&sdl);
    const QList<QLabel*> labels = prefs->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [&](QLabel* label) {
        return label->isVisible() && label->text().contains("Lento 2.5.1")
            && label->text().contains(QStringLiteral("SDL %1.%2.%3, ").arg(sdl.major).arg(sdl.minor).arg(sdl.patch))
            && label->text().contains(QStringLiteral("Qt %1, ").arg(qVersion())) && label->text().contains("GNU General Public License");
    }));
    switchTo("Preferences", Qt::ShiftModifier, 1250);
    EXPECT_EQ(prefs->geometry(), general) << "back to the first pane's size";
    QTest::keyClick(prefs, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(prefs->isVisible()) << "Ctrl+W closes it";

    start();
    EXPECT_EQ(vc->waveViewContainer()->waveView()->fillColor().name(), sky.name());
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    EXPECT_TRUE(waitFor(listed)) << "the folder is read again at the next start";
    prefs = openPreferences();
    prefs->folderList()->item(0)->setSelected(true);
    QTest::mouseClick(button("Remove"), Qt::LeftButton);
    EXPECT_TRUE(waitFor([&] { return !listed(); })) << "and left out once removed";
}
