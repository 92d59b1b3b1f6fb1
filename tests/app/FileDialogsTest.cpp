// Open and Export as a user does them: the shortcut, Qt's own dialog, a typed path and Return or
// Escape; then the export's sheet.
#include "WindowFixture.h"

#include "app/ExportProgressWindowController.h"

#include <QPointer>

using FileDialogsTest = WindowFixture;

TEST_F(FileDialogsTest, ATypedPathOpensTheTrackOrExportsFromTheRangeStartEscapeOrCancelEndsItAndTheSheetWaitsForAWritableFile)
{
    const auto exportItemsEnabled = [&] {
        const QList<QAction*> items = delegate->exportMenu()->actions();
        return std::all_of(items.begin(), items.end(), [](QAction* item) { return item->isEnabled(); });
    };
    const auto sheetGone = [&] { return delegate->progressWindowController() == nullptr; };
    const auto cancel = [&] { delegate->progressWindowController()->findChild<QPushButton*>("cancelButton")->click(); };
    EXPECT_FALSE(exportItemsEnabled()) << "no track, nothing to export";
    const QString first = makeTrack("first track.wav");
    const QString second = makeTrack("other/second.wav");
    press(Qt::Key_O, Qt::ControlModifier);
    QPointer<QFileDialog> panel = shownDialog();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(QDir(panel->directory().path()).canonicalPath(), QDir(QStandardPaths::writableLocation(QStandardPaths::MusicLocation)).canonicalPath())
        << "with no track the panel starts in the Music folder";
    typeIntoDialog(panel, first, Qt::Key_Escape);
    EXPECT_TRUE(waitFor([&] { return !panel || !panel->isVisible(); }, 2000));
    settle();
    EXPECT_FALSE(vc->isOpening() || vc->audioLoaded()) << "a panel closed with Escape opens nothing";
    // The second name is relative to where the panel starts: beside the open track.
    for (const auto& [typed, opened] : {std::pair{first, first}, {QStringLiteral("other/second.wav"), second}}) {
        press(Qt::Key_O, Qt::ControlModifier);
        typeIntoDialog(shownDialog(), typed);
        ASSERT_TRUE(waitFor([&, opened = opened] { return vc->player()->fileURL().toLocalFile() == opened; }, 5000));
    }

    // Silence with one 10 ms burst at frame 1000, paused inside a loop.
    ASSERT_TRUE(load(writeTrack("burst.wav", fixtures::synthesise(44100, 2, 3 * 44100, [](int64_t f, int) {
        return f >= 1000 && f < 1441 ? float(0.8 * std::sin(0.14 * double(f - 1000))) : 0.0f;
    }))));
    AudioEngine* player = vc->player();
    player->setLoop(true);
    player->fillBufferFrom(0.25f, 0.75f, 0.5f);
    ASSERT_TRUE(player->playPause());
    output().pull(20000);
    EXPECT_FALSE(player->playPause()) << "paused inside the loop";
    const QString out = dir.filePath("export.wav");
    press(Qt::Key_S, Qt::ControlModifier | Qt::ShiftModifier);
    typeIntoDialog(shownDialog(), out);
    ASSERT_TRUE(delegate->progressWindowController() && delegate->progressWindowController()->isVisible());
    EXPECT_FALSE(exportItemsEnabled()) << "the export menu waits while rendering";
    ASSERT_TRUE(waitFor(sheetGone));
    fixtures::Signal written;
    ASSERT_TRUE(fixtures::readSoundFile(out, written));
    // With no selection the range goes back to the whole track from its start.
    EXPECT_EQ(written.frames(), 3 * 44100);
    EXPECT_NEAR(double(measure::onset(written.channel(0), 0.3f)), 1000.0, 512.0);

    // What a cancelled file holds is the engine's business; here, that the sheet's button ends the export.
    ASSERT_TRUE(load(makeTrack("long.wav", 60.0)));
    delegate->exportToURL(QUrl::fromLocalFile(dir.filePath("short.wav")));
    cancel();
    ASSERT_TRUE(waitFor([&] { return !vc->player()->isExporting() && sheetGone(); }));
    delegate->exportToURL(QUrl::fromLocalFile(dir.filePath("missing/folder/out.wav")));
    QTest::qWait(200);
    ASSERT_NE(delegate->progressWindowController(), nullptr) << "the sheet waits for Cancel";
    cancel();
    EXPECT_TRUE(waitFor(sheetGone));
    EXPECT_TRUE(exportItemsEnabled());
    EXPECT_TRUE(vc->player()->playPause()) << "the track plays on the device path again";
}
