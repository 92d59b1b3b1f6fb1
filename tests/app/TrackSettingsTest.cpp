// What the window keeps: the track open at the last start, and per track: a track opened again,
// even renamed and moved, comes back as it was left; another sound under the same name starts afresh.
#include "app/WindowFixture.h"

#include "library/FileBookmark.h"
#include "loops/LoopMarker.h"

namespace {

struct TrackSettingsTest : WindowFixture {
    // Six seconds of two notes taking turns every half second: `low` and `high` tell sounds apart.
    QString makeSound(const QString& name, double low, double high)
    {
        return writeTrack(name, fixtures::synthesise(44100, 2, 6 * 44100, [=](int64_t f, int) {
            return float(0.3 * std::sin(2 * M_PI * ((f / 22050) % 2 ? high : low) * double(f) / 44100));
        }));
    }

    WaveViewContainer* container() const { return vc->waveViewContainer(); }
    const std::vector<LoopPair>& loops() const { return LoopMarker::sharedLoops().loopData(); }
    LoopPair selection() const { return container()->selectionView()->loop(); }
    PracticePanel* practice() const { return vc->practicePanel(); }
    std::pair<int, int> trainer() const { return {practice()->startPercent()->value(), practice()->everyPasses()->value()}; }

    // What a user sees of the settings kept. The solo is kept too, but a new track leaves it as
    // it was, so it is looked at apart.
    struct Shown {
        QString speed, pitch, tone;
        bool toneOn, pitchOn;
        LoopPair selection;
        size_t loops;
        bool operator==(const Shown&) const = default;
    };
    Shown shown() const
    {
        return {vc->speedLabel()->text(), vc->pitchLabel()->text(), vc->toneLabel()->text(), vc->toneButton()->isChecked(),
                vc->pitchButton()->isChecked(), selection(), loops().size()};
    }
    static Shown fresh() { return {"100 %", "0 Ct", "1.5 kHz", false, false, {}, 0}; }

    QString launchedPath()
    {
        delegate->applicationDidFinishLaunching();
        EXPECT_TRUE(opened());
        return vc->audioLoaded() ? vc->player()->fileURL().toLocalFile() : QString();
    }
};

} // namespace

TEST_F(TrackSettingsTest, AMovedTrackGetsItsSettingsBackAnotherSoundOfTheSameNameDoesNotTheLastTrackReopensAndPracticeDataTravelsByFile)
{
    EXPECT_EQ(launchedPath(), QString()) << "a first start loads nothing";
    EXPECT_FALSE(window->windowIcon().isNull());
    const QString first = makeSound("one/song.wav", 440.0, 660.0);
    ASSERT_TRUE(load(first));
    ASSERT_EQ(shown(), fresh());
    clickAt(vc->speedSlider(), 0.75);
    clickAt(vc->pitchCoarseSlider(), 0.75);
    clickAt(vc->toneSlider(), 0.7);
    QTest::mouseClick(vc->soloRightButton(), Qt::LeftButton);
    // Each saved loop keeps the trainer's values set while it is selected.
    container()->selectRange({0.25, 0.5});
    press(Qt::Key_L, Qt::ControlModifier);
    practice()->startPercent()->setValue(50);
    container()->selectRange({0.5, 0.7});
    press(Qt::Key_L, Qt::ControlModifier);
    practice()->startPercent()->setValue(70);
    practice()->everyPasses()->setValue(3);
    practice()->leadChoice()->setCurrentIndex(PracticePanel::CountIn);
    practice()->bpm()->setValue(90);
    container()->selectRange({0.1, 0.2});
    const Shown left = shown();
    ASSERT_NE(left.speed, fresh().speed);

    const QString other = makeSound("two/song.wav", 523.0, 784.0);
    ASSERT_TRUE(load(other));
    EXPECT_EQ(shown(), fresh()) << "another sound of the same name";
    QTest::mouseClick(vc->soloLeftButton(), Qt::LeftButton);
    ASSERT_EQ(vc->player()->solo(), 1);
    const QString otherMoved = dir.filePath("four/song (take 2).wav");
    ASSERT_TRUE(QDir().mkpath(dir.filePath("four")) && QFile::rename(other, otherMoved));

    start(); // what is kept is on disk, not in this window
    EXPECT_EQ(trainer(), std::pair(70, 3)) << "the practice section as left, before any track";
    EXPECT_EQ(practice()->leadChoice()->currentIndex(), PracticePanel::CountIn);
    EXPECT_EQ(practice()->bpm()->value(), 90);
    EXPECT_EQ(launchedPath(), otherMoved) << "the last track reopens, found where it went";
    bool stale = true;
    QString error;
    EXPECT_EQ(FileBookmark::URLByResolvingBookmarkData(defaults->dataForKey("LastSongBookmark"), &stale, &error).toLocalFile(), otherMoved);
    EXPECT_FALSE(stale) << "the renewed bookmark points straight at the new place";
    EXPECT_EQ(vc->player()->solo(), 1) << "with its own settings";
    EXPECT_TRUE(loops().empty());

    const QString moved = dir.filePath("three/renamed take.wav");
    ASSERT_TRUE(QDir().mkpath(dir.filePath("three")) && QFile::rename(first, moved));
    ASSERT_TRUE(load(moved));
    EXPECT_EQ(shown(), left) << "renamed and moved";
    EXPECT_EQ(vc->player()->solo(), 2);
    EXPECT_EQ(loops(), (std::vector<LoopPair>{{0.25, 0.5}, {0.5, 0.7}}));
    for (const auto& expected : {std::pair{50, 2}, {70, 3}, {50, 2}}) {
        press(Qt::Key_BracketRight, Qt::ControlModifier);
        settle();
        EXPECT_EQ(trainer(), expected) << "at " << selection().left;
    }

    ASSERT_TRUE(load(otherMoved));
    PreferencesController* preferences = openPreferences();
    QTest::mouseClick(preferences->restoreTrackSettingsControl(), Qt::LeftButton);
    preferences->close();
    ASSERT_TRUE(load(moved));
    Shown loopsOnly = fresh();
    loopsOnly.loops = 2;
    EXPECT_EQ(shown(), loopsOnly) << "with the preference off only the loops come back";
    EXPECT_EQ(vc->player()->solo(), 1);

    // A bookmark that resolves to nothing falls back to the stored path, if that file exists.
    ASSERT_TRUE(QFile::remove(moved));
    start();
    EXPECT_EQ(launchedPath(), QString()) << "neither the bookmark nor the path finds the file";
    const QString song = makeTrack("b/song.wav", 0.1);
    defaults->setObject(QUrl::fromLocalFile(song).toString(), "LastSongURL");
    EXPECT_EQ(launchedPath(), song);

    // A loop saved just before the program was killed is found by its sound after a rename.
    const QString take = makeSound("c/take.wav", 349.0, 523.0);
    ASSERT_TRUE(load(take));
    container()->selectRange({0.2, 0.4});
    press(Qt::Key_L, Qt::ControlModifier);
    start();
    ASSERT_TRUE(QFile::rename(take, dir.filePath("c/take, renamed.wav")));
    ASSERT_TRUE(load(dir.filePath("c/take, renamed.wav")));
    EXPECT_EQ(loops(), (std::vector<LoopPair>{{0.2, 0.4}}));

    // Practice data goes to a file and comes back on another track when the user agrees.
    ASSERT_TRUE(load(makeSound("song.wav", 392.0, 587.0)));
    clickAt(vc->speedSlider(), 0.75);
    container()->selectRange({0.25, 0.5});
    press(Qt::Key_L, Qt::ControlModifier);
    const Shown practised = shown();
    const QString saved = dir.filePath("song practice.json");
    itemShowing(menuNamed("File"), "Export Practice Data…")->trigger();
    typeIntoDialog(shownDialog(), saved);
    ASSERT_TRUE(waitFor([&] { return QFileInfo::exists(saved); }));

    const QString damaged = dir.filePath("damaged.json");
    ASSERT_TRUE(fixtures::writeFile(damaged, "{\"format\": \"lento-practice\", \"version\": 1, \"loops\": [{\"left\": 0.5}]}"));
    ASSERT_TRUE(load(makeSound("other.wav", 330.0, 494.0)));
    // What the message that comes up says, the button pressed in it, and what the window shows after.
    const struct { QString file; const char *says, *answer; Shown after; } imports[] = {
        {damaged, "loop 1 is not a stretch within the track", "OK", fresh()},
        {saved, "another track, “song.wav”", "Cancel", fresh()}, {saved, "another track, “song.wav”", "Import Anyway", practised}};
    for (const auto& i : imports) {
        SCOPED_TRACE(i.answer);
        itemShowing(menuNamed("File"), "Import Practice Data…")->trigger();
        typeIntoDialog(shownDialog(), i.file);
        auto* message = shownDialog<QMessageBox>();
        ASSERT_NE(message, nullptr);
        EXPECT_TRUE((message->text() + message->informativeText()).contains(QString::fromUtf8(i.says))) << message->informativeText().toStdString();
        for (QAbstractButton* b : message->buttons())
            if (b->text().remove('&') == i.answer)
                QTest::mouseClick(b, Qt::LeftButton);
        settle();
        EXPECT_EQ(shown(), i.after);
    }
}
