#include "platform/RecentDocuments.h"

#include "common/Testing.h"

#include <QRegularExpression>

using fixtures::readFile;
using fixtures::writeFile;

// The desktop's list is shared with every other application: ours is one entry among theirs. The
// program's own list is most recent first, at most ten, only existing files.
TEST(RecentDocumentsTest, OurEntryIsCountedOnceAmongTheOtherApplicationsAndTheOwnListKeepsTheTenNewestThatExist)
{
    QTemporaryDir dir;
    const QString xbel = dir.filePath("share/recently-used.xbel");
    QDir().mkpath(dir.filePath("share"));
    ASSERT_TRUE(writeFile(xbel, R"(<?xml version="1.0" encoding="UTF-8"?>
<xbel version="1.0" xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks">
  <bookmark href="file:///home/u/letter.odt" added="2024-01-01T10:00:00.000000Z"><title>A letter</title>
    <info><metadata owner="http://freedesktop.org"><bookmark:groups><bookmark:group>Office</bookmark:group>
    </bookmark:groups><bookmark:applications><bookmark:application name="Writer" count="3"/></bookmark:applications>
  </metadata></info></bookmark>
  <bookmark href="file:///music/full.wav"><info><metadata><bookmark:applications>
    <bookmark:application name="Lento" count="2147483647"/></bookmark:applications></metadata></info></bookmark>
</xbel>)"));

    RecentDocuments recent(xbel);
    const QUrl song = QUrl::fromLocalFile("/music/a song.wav");
    for (const QUrl& url : {song, song, QUrl::fromLocalFile("/music/full.wav")})
        ASSERT_TRUE(recent.noteNewRecentDocumentURL(url, "audio/x-wav"));
    EXPECT_EQ(recent.recentURLs(), QStringList({"file:///home/u/letter.odt", "file:///music/full.wav", "file:///music/a%20song.wav"}));
    const QString written = QString::fromUtf8(readFile(xbel));
    EXPECT_EQ(written.count(R"(name="Lento")"), 2);
    for (const char* kept : {R"(name="Lento"[^>]* count="2")", R"(count="2147483647")", R"(type="audio/x-wav")",
                             "<bookmark:group>Office</bookmark:group>", "<title>A letter</title>", R"(name="Writer")"})
        EXPECT_TRUE(written.contains(QRegularExpression(kept))) << kept << "\n" << written.toStdString();
    EXPECT_EQ(QDir(dir.filePath("share")).entryList(QDir::Files), QStringList({"recently-used.xbel"}))
        << "no temporary file is left behind";

    RecentDocuments fresh(dir.filePath("new/recently-used.xbel"));
    EXPECT_FALSE(fresh.noteNewRecentDocumentURL(QUrl("https://example.org/x.mp3"), "audio/mpeg"));
    ASSERT_TRUE(fresh.noteNewRecentDocumentURL(QUrl::fromLocalFile("/x.mp3"), "audio/mpeg"));
    EXPECT_EQ(fresh.recentURLs(), QStringList({"file:///x.mp3"}));
    // A list it cannot read is somebody else's to mend, not ours to replace.
    ASSERT_TRUE(writeFile(xbel, "<xbel><bookmark href="));
    EXPECT_FALSE(recent.noteNewRecentDocumentURL(song, "audio/x-wav"));
    EXPECT_EQ(readFile(xbel), "<xbel><bookmark href=");

    QStringList files, list; // newest first
    for (int i = 0; i < 12; ++i) {
        files.prepend(dir.filePath(QString("t%1.wav").arg(i)));
        ASSERT_TRUE(writeFile(files.first(), {}));
        list = RecentDocuments::updatedList(list, files.first());
    }
    EXPECT_EQ(list, files.mid(0, 10));
    QFile::remove(files[0]);
    EXPECT_EQ(RecentDocuments::updatedList(list, files[5]), QStringList{files[5]} + files.mid(1, 4) + files.mid(6, 4))
        << "the chosen file moves to the front, once; the removed one drops out";
}
