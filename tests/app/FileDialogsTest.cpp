// Open and export as a user does them: the shortcut, Qt's own dialog, a typed path and Return.
#include "WindowFixture.h"

#include <QDir>
#include <QPointer>
#include <QStandardPaths>

namespace {

struct FileDialogsTest : WindowFixture {
    static QString canonical(const QString& path) { return QDir(path).canonicalPath(); }
};

} // namespace

TEST_F(FileDialogsTest, ATypedPathOpensTheTrackAndTheNextOpenStartsBesideIt)
{
    const QString first = makeTrack("first track.wav");
    QDir(dir.path()).mkdir("other");
    const QString second = makeTrack("other/second.wav");

    press(Qt::Key_O, Qt::ControlModifier);
    QFileDialog* panel = shownDialog();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(canonical(panel->directory().path()),
              canonical(QStandardPaths::writableLocation(QStandardPaths::MusicLocation)))
        << "with no track the panel starts in the Music folder";
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

TEST_F(FileDialogsTest, APanelClosedWithEscapeOpensNothing)
{
    ASSERT_TRUE(load(makeTrack("kept.wav")));
    const QString other = makeTrack("never.wav");
    press(Qt::Key_O, Qt::ControlModifier);
    QPointer<QFileDialog> panel = shownDialog();
    ASSERT_NE(panel, nullptr);
    auto* name = panel->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
    QTest::keyClicks(name, other, Qt::NoModifier, 5);
    QTest::keyClick(name, Qt::Key_Escape);
    EXPECT_TRUE(waitFor([&] { return !panel || !panel->isVisible(); }, 2000));
    settle();
    EXPECT_FALSE(vc->isOpening());
    EXPECT_EQ(window->windowTitle(), "kept.wav");
}
