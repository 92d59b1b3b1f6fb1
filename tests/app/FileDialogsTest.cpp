// Open as a user does it: the shortcut, Qt's own dialog, a typed path and Return or Escape.
#include "WindowFixture.h"

#include <QPointer>
#include <QStandardPaths>

namespace {

QString canonical(const QString& path)
{
    return QDir(path).canonicalPath();
}

struct FileDialogsTest : WindowFixture {};

} // namespace

TEST_F(FileDialogsTest, ATypedPathOpensTheTrackEscapeOpensNothingAndTheNextOpenStartsBesideIt)
{
    const QString first = makeTrack("first track.wav");
    const QString second = makeTrack("other/second.wav");

    press(Qt::Key_O, Qt::ControlModifier);
    QPointer<QFileDialog> panel = shownDialog();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(canonical(panel->directory().path()),
              canonical(QStandardPaths::writableLocation(QStandardPaths::MusicLocation)))
        << "with no track the panel starts in the Music folder";
    typeIntoDialog(panel, first, Qt::Key_Escape);
    EXPECT_TRUE(waitFor([&] { return !panel || !panel->isVisible(); }, 2000));
    settle();
    EXPECT_FALSE(vc->isOpening() || vc->audioLoaded()) << "a panel closed with Escape opens nothing";

    press(Qt::Key_O, Qt::ControlModifier);
    panel = shownDialog();
    ASSERT_NE(panel, nullptr);
    typeIntoDialog(panel, first);
    ASSERT_TRUE(waitFor([&] { return window->windowTitle() == "first track.wav"; }, 5000));
    EXPECT_EQ(vc->player()->fileURL().toLocalFile(), first);

    press(Qt::Key_O, Qt::ControlModifier);
    panel = shownDialog();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(canonical(panel->directory().path()), canonical(dir.path()));
    // A name relative to where the panel starts.
    typeIntoDialog(panel, "other/second.wav");
    ASSERT_TRUE(waitFor([&] { return window->windowTitle() == "second.wav"; }, 5000));
    EXPECT_EQ(vc->player()->fileURL().toLocalFile(), second);
}
