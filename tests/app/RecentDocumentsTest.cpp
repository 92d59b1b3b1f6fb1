#include "platform/RecentDocuments.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

namespace {

const char* kOtherApplications = R"(<?xml version="1.0" encoding="UTF-8"?>
<xbel version="1.0"
      xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"
      xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info">
  <bookmark href="file:///home/u/letter.odt" added="2024-01-01T10:00:00.000000Z" modified="2024-01-01T10:00:00.000000Z" visited="2024-01-01T10:00:00.000000Z">
    <title>A letter</title>
    <info>
      <metadata owner="http://freedesktop.org">
        <mime:mime-type type="application/vnd.oasis.opendocument.text"/>
        <bookmark:groups><bookmark:group>Office</bookmark:group></bookmark:groups>
        <bookmark:applications>
          <bookmark:application name="Writer" exec="&apos;writer %u&apos;" modified="2024-01-01T10:00:00.000000Z" count="3"/>
        </bookmark:applications>
      </metadata>
    </info>
  </bookmark>
</xbel>
)";

QString readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

// The count our application has on the entry of `href`, or -1.
int lentoCount(const QString& xml, const QString& href)
{
    QXmlStreamReader reader(xml);
    bool inside = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (!reader.isStartElement())
            continue;
        if (reader.name() == u"bookmark")
            inside = reader.attributes().value("href") == href;
        if (inside && reader.name() == u"application" && reader.attributes().value("name") == u"Lento")
            return reader.attributes().value("count").toInt();
    }
    return -1;
}

} // namespace

TEST(RecentDocumentsTest, AddsItsEntryAndKeepsEveryOtherApplications)
{
    QTemporaryDir dir;
    const QString xbel = dir.filePath("share/recently-used.xbel");
    QDir().mkpath(dir.filePath("share"));
    QFile seed(xbel);
    ASSERT_TRUE(seed.open(QIODevice::WriteOnly));
    seed.write(kOtherApplications);
    seed.close();

    RecentDocuments recent(xbel);
    const QUrl song = QUrl::fromLocalFile("/music/a song.wav");
    ASSERT_TRUE(recent.noteNewRecentDocumentURL(song, "audio/x-wav"));
    ASSERT_TRUE(recent.noteNewRecentDocumentURL(song, "audio/x-wav"));

    const QString written = readAll(xbel);
    EXPECT_EQ(recent.recentURLs(), QStringList({"file:///home/u/letter.odt", "file:///music/a%20song.wav"}));
    EXPECT_EQ(lentoCount(written, "file:///music/a%20song.wav"), 2) << "one entry, counted twice";
    EXPECT_TRUE(written.contains("<bookmark:group>Office</bookmark:group>"));
    EXPECT_TRUE(written.contains("<title>A letter</title>"));
    EXPECT_TRUE(written.contains(R"(name="Writer")"));
    EXPECT_TRUE(written.contains(R"(type="audio/x-wav")"));
    EXPECT_EQ(QDir(dir.filePath("share")).entryList(QDir::Files), QStringList({"recently-used.xbel"}))
        << "no temporary file is left behind";
}

TEST(RecentDocumentsTest, StartsAFreshListButNeverReplacesOneItCannotRead)
{
    QTemporaryDir dir;
    RecentDocuments fresh(dir.filePath("new/recently-used.xbel"));
    ASSERT_TRUE(fresh.noteNewRecentDocumentURL(QUrl::fromLocalFile("/x.mp3"), "audio/mpeg"));
    EXPECT_EQ(fresh.recentURLs(), QStringList({"file:///x.mp3"}));
    EXPECT_FALSE(fresh.noteNewRecentDocumentURL(QUrl("https://example.org/x.mp3"), "audio/mpeg"));

    const QString broken = dir.filePath("broken.xbel");
    QFile f(broken);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("<xbel><bookmark href=");
    f.close();
    EXPECT_FALSE(RecentDocuments(broken).noteNewRecentDocumentURL(QUrl::fromLocalFile("/x.mp3"), "audio/mpeg"));
    EXPECT_EQ(readAll(broken), "<xbel><bookmark href=");
}

TEST(RecentDocumentsTest, TheOwnListIsMostRecentFirstAtMostTenAndOnlyExistingFiles)
{
    QTemporaryDir dir;
    QStringList files;
    for (int i = 0; i < 12; ++i) {
        files << dir.filePath(QString("t%1.wav").arg(i));
        QFile f(files.last());
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    }
    QStringList list;
    for (const QString& file : files)
        list = RecentDocuments::updatedList(list, file);
    ASSERT_EQ(list.size(), 10);
    EXPECT_EQ(list.first(), files[11]);
    EXPECT_EQ(list.last(), files[2]);

    list = RecentDocuments::updatedList(list, files[5]);
    EXPECT_EQ(list.first(), files[5]);
    EXPECT_EQ(list.count(files[5]), 1);
    EXPECT_EQ(list.size(), 10);

    QFile::remove(files[11]);
    EXPECT_FALSE(RecentDocuments::existingOnly(list).contains(files[11]));
    EXPECT_EQ(RecentDocuments::existingOnly(list).size(), 9);
}
