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
    PreferencesController* open()
    {
        itemShowing(menuNamed("Edit"), "Preferences…")->trigger();
        settle();
        auto* prefs = window->findChild<PreferencesController*>();
        EXPECT_NE(prefs, nullptr);
        EXPECT_TRUE(prefs && prefs->isVisible());
        return prefs;
    }
    QColor waveColour() const { return vc->waveViewContainer()->waveView()->fillColor(); }
};

} // namespace

TEST_F(PreferencesTest, TheThemeColoursTheWaveAndItsStripAndAChoiceInTheWindowActsAtOnceAndLasts)
{
    EXPECT_EQ(waveColour(), ColorTheme::waveColorForTheme(1)) << "a first start has theme 1";
    for (int theme : {7, 2}) {
        defaults->setObject(theme, QStringLiteral("Theme"));
        vc->setColorTheme();
        EXPECT_EQ(waveColour(), ColorTheme::waveColorForTheme(theme)) << theme;
        EXPECT_EQ(vc->waveViewContainer()->overView()->fillColor(), waveColour());
    }
    PreferencesController* prefs = open();
    prefs->themeControl()->setCurrentIndex(3);
    emit prefs->themeControl()->activated(3);
    const QColor chosen = ColorTheme::colorTheme(*defaults).wave;
    EXPECT_NE(chosen, ColorTheme::waveColorForTheme(2));
    EXPECT_EQ(waveColour(), chosen);
    start();
    EXPECT_EQ(waveColour(), chosen);
}

TEST_F(PreferencesTest, PanesSwitchFromTheToolbarOneAtATimeAndNameTheWindow)
{
    PreferencesController* prefs = open();
    EXPECT_EQ(prefs->windowTitle(), "Preferences");
    const QPoint corner = prefs->geometry().topLeft();
    QToolBar* toolbar = prefs->findChild<QToolBar*>();
    for (const char* pane : {"Info", "Info", "Preferences"}) {
        SCOPED_TRACE(pane);
        const QList<QAction*> items = toolbar->actions();
        const auto item = std::find_if(items.begin(), items.end(), [&](QAction* a) { return a->text() == pane; });
        ASSERT_NE(item, items.end());
        (*item)->trigger();
        waitFor([&] { return prefs->shownView() != nullptr; }, 3000);
        QTest::qWait(PWPrefsWindowController::kFadeMs + 100);
        int shown = 0;
        for (QWidget* view : prefs->contentSubview()->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
            shown += !view->isHidden();
        EXPECT_EQ(shown, 1) << "one pane at a time";
        EXPECT_EQ(prefs->windowTitle(), pane);
        EXPECT_EQ(prefs->geometry().topLeft(), corner) << "the window keeps its top-left corner";
        QDir().mkpath(QStringLiteral(LENTO_ARTIFACTS_DIR));
        EXPECT_TRUE(prefs->grab().save(QStringLiteral(LENTO_ARTIFACTS_DIR "/preferences-%1.png").arg(QString::fromLatin1(pane).toLower())));
    }
    // Info names the libraries Lento runs on with their versions, as the running program reports them.
    SDL_version sdl;
    SDL_GetVersion(&sdl);
    const QList<QLabel*> labels = prefs->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [&](QLabel* label) {
        return label->text().contains(QStringLiteral("SDL %1.%2.%3, ").arg(sdl.major).arg(sdl.minor).arg(sdl.patch))
            && label->text().contains(QStringLiteral("Qt %1, ").arg(QString::fromLatin1(qVersion())));
    }));
    QTest::keyClick(prefs, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(prefs->isVisible()) << "Ctrl+W closes it";
}

TEST_F(PreferencesTest, TheLoopSettingActsAtOnceOnASelectionAndTheSpeedRangeHoldsOnANewStart)
{
    ASSERT_TRUE(load(makeTrack("scales.wav", 4.0)));
    PreferencesController* prefs = open();
    QTest::mouseClick(vc->playButton(), Qt::LeftButton);
    ASSERT_TRUE(vc->player()->isPlaying());
    prefs->loopControl()->setChecked(false);
    EXPECT_TRUE(vc->player()->isPlaying()) << "without a selection playback is left alone";

    SelectionView* selection = vc->waveViewContainer()->selectionView();
    selection->setLoopWith({0.25, 0.5});
    vc->waveViewContainer()->setLoop(true);
    vc->waveViewContainer()->selectionChanged();
    EXPECT_FALSE(vc->player()->loop()) << "the setting is off";
    prefs->loopControl()->setChecked(true);
    EXPECT_TRUE(vc->player()->loop()) << "on again, the selection loops at once";
    EXPECT_TRUE(vc->player()->isPlaying()) << "and plays on";

    prefs->extendedSpeedControl()->setChecked(true);
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    start();
    EXPECT_EQ(vc->speedSlider()->minValue(), 0.2);
    EXPECT_EQ(vc->speedSlider()->maxValue(), 1.4);
}

TEST_F(PreferencesTest, AFolderAddedToTheLibraryIsScannedAndItsSongsListed)
{
    const QString folder = dir.filePath("elsewhere");
    makeTrack("elsewhere/Blue in Green.wav");
    PreferencesController* prefs = open();
    prefs->addMusicFolder(folder);
    EXPECT_EQ(prefs->folderList()->count(), 1);
    const auto listed = [&] {
        for (const auto& entry : vc->libraryPlaylistManager()->musicFilteredEntries())
            if (entry->displayName().contains("Blue in Green"))
                return true;
        return false;
    };
    EXPECT_TRUE(waitFor(listed, 20000));
    start();
    EXPECT_TRUE(waitFor(listed, 20000)) << "the folder is read again at the next start";
}
