#include "library/FileBookmark.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <filesystem>

namespace {

class FileBookmarkTest : public ::testing::Test {
protected:
    void TearDown() override { FileBookmark::setSearchFolders({}); }

    QString path(const QString& relative) const { return m_root.filePath(relative); }

    QString makeFile(const QString& relative, const QByteArray& content = "RIFF fake audio")
    {
        const QString full = path(relative);
        QDir().mkpath(QFileInfo(full).absolutePath());
        QFile f(full);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly)) << full.toStdString();
        f.write(content);
        return full;
    }

    // A real rename, so the file keeps its inode.
    QString move(const QString& from, const QString& toRelative)
    {
        const QString to = path(toRelative);
        QDir().mkpath(QFileInfo(to).absolutePath());
        std::filesystem::rename(from.toStdString(), to.toStdString());
        return to;
    }

    struct Resolved {
        QUrl url;
        bool stale = false;
        QString error;
    };
    static Resolved resolve(const QByteArray& data)
    {
        Resolved r;
        r.stale = true; // must be cleared by a fresh result
        r.url = FileBookmark::URLByResolvingBookmarkData(data, &r.stale, &r.error);
        return r;
    }

    void expectFoundAt(const QByteArray& data, const QString& where, bool stale)
    {
        const Resolved r = resolve(data);
        EXPECT_EQ(r.url, QUrl::fromLocalFile(where)) << r.error.toStdString();
        EXPECT_EQ(r.stale, stale);
        EXPECT_TRUE(r.error.isEmpty()) << r.error.toStdString();
    }

    QTemporaryDir m_root;
};

} // namespace

TEST_F(FileBookmarkTest, AnUnmovedFileResolvesToItselfAndIsNotStale)
{
    const QString song = makeFile("Music/Album/song one.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    ASSERT_FALSE(data.isEmpty());
    expectFoundAt(data, song, false);

    // A path written with redundant parts names the same file.
    const QByteArray viaDots = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(path("Music/Album/../Album/song one.wav")));
    expectFoundAt(viaDots, song, false);

    // The optional reports may be left out.
    EXPECT_EQ(FileBookmark::URLByResolvingBookmarkData(data, nullptr, nullptr), QUrl::fromLocalFile(song));
}

TEST_F(FileBookmarkTest, ARenamedOrMovedFileIsFoundNearbyAndIsStale)
{
    const QString song = makeFile("Music/Artist/Album/song.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    makeFile("Music/Artist/Album/other.wav", "another file of the same folder");

    QString now = move(song, "Music/Artist/Album/01 song.wav");
    expectFoundAt(data, now, true);

    now = move(now, "Music/Artist/song.wav"); // to the parent folder
    expectFoundAt(data, now, true);

    now = move(now, "Music/Artist/Other Album/song.wav"); // to a sibling folder
    expectFoundAt(data, now, true);
}

TEST_F(FileBookmarkTest, AFileWhoseFolderWasRenamedIsFound)
{
    const QString song = makeFile("Music/Album/song.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    std::filesystem::rename(path("Music/Album").toStdString(), path("Music/Album (2019)").toStdString());
    expectFoundAt(data, path("Music/Album (2019)/song.wav"), true);
}

TEST_F(FileBookmarkTest, AFileReplacedAtItsPathResolvesThereAsStale)
{
    const QString song = makeFile("Music/song.wav", "first version");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    // An editor's save: write a new file beside it, then rename it over the old one.
    const QString saved = makeFile("Music/song.wav.tmp", "second, longer version");
    std::filesystem::rename(saved.toStdString(), song.toStdString());
    expectFoundAt(data, song, true);
}

TEST_F(FileBookmarkTest, AFileMovedFarAwayIsFoundOnlyInTheSearchFolders)
{
    const QString song = makeFile("Downloads/inbox/song.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    const QString now = move(song, "Library/Artist/Album/Disc 1/song.wav");

    const Resolved lost = resolve(data);
    EXPECT_TRUE(lost.url.isEmpty());
    EXPECT_EQ(lost.error, QStringLiteral("file not found: ") + song);

    FileBookmark::setSearchFolders({path("Elsewhere"), path("Library")});
    EXPECT_EQ(FileBookmark::searchFolders().size(), 2);
    expectFoundAt(data, now, true);
}

TEST_F(FileBookmarkTest, TheSearchOfALibraryFolderStopsAfterItsEntryLimit)
{
    const QString song = makeFile("Downloads/inbox/song.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    const QString now = move(song, "Library/zzz/song.wav");
    FileBookmark::setSearchFolders({path("Library")});
    expectFoundAt(data, now, true);

    // Enough entries above the file's folder that the search gives up before reaching it.
    for (int i = 0; i < FileBookmark::searchEntryLimit; ++i)
        QFile(path(QStringLiteral("Library/track%1.wav").arg(i))).open(QIODevice::WriteOnly);
    const Resolved r = resolve(data);
    EXPECT_TRUE(r.url.isEmpty());
    EXPECT_FALSE(r.error.isEmpty());
}

TEST_F(FileBookmarkTest, ADeletedFileGivesAnError)
{
    const QString song = makeFile("Music/song.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));
    ASSERT_TRUE(QFile::remove(song));
    const Resolved r = resolve(data);
    EXPECT_TRUE(r.url.isEmpty());
    EXPECT_FALSE(r.stale);
    EXPECT_EQ(r.error, QStringLiteral("file not found: ") + song);

    // A folder now standing at the path is no file either.
    QDir().mkpath(song);
    EXPECT_TRUE(resolve(data).url.isEmpty());
}

TEST_F(FileBookmarkTest, DataThatIsNotABookmarkGivesAnError)
{
    const QString song = makeFile("Music/song.wav");
    const QByteArray data = FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(song));

    QList<QByteArray> bad = {QByteArray(), QByteArray("garbage"), QByteArray(64, '\xff'), data + 'x'};
    for (qsizetype n = 1; n < data.size(); ++n)
        bad.append(data.left(n));
    QByteArray hugeLength = data.left(data.indexOf(QFile::encodeName(song)) - 4);
    hugeLength.append("\xff\xff\xff\xf0", 4);
    bad.append(hugeLength);
    QByteArray wrongMagic = data;
    wrongMagic[0] = static_cast<char>(wrongMagic[0] ^ 0x20);
    bad.append(wrongMagic);

    for (const QByteArray& b : bad) {
        const Resolved r = resolve(b);
        EXPECT_TRUE(r.url.isEmpty()) << b.toHex().toStdString();
        EXPECT_FALSE(r.stale);
        EXPECT_EQ(r.error, QStringLiteral("bookmark data is not valid")) << b.toHex().toStdString();
    }
}

TEST_F(FileBookmarkTest, OnlyExistingLocalFilesGiveData)
{
    makeFile("Music/song.wav");
    EXPECT_TRUE(FileBookmark::bookmarkDataFromURL(QUrl()).isEmpty());
    EXPECT_TRUE(FileBookmark::bookmarkDataFromURL(QUrl("http://localhost/Music/song.wav")).isEmpty());
    EXPECT_TRUE(FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(path("Music/missing.wav"))).isEmpty());
    EXPECT_TRUE(FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(path("Music"))).isEmpty());
    EXPECT_FALSE(FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(path("Music/song.wav"))).isEmpty());
}
