#include "library/FileBookmark.h"

#include "common/Testing.h"

#include <QtEndian>

#include <filesystem>

namespace {

class FileBookmarkTest : public ::testing::Test {
protected:
    QString path(const QString& relative) const { return m_root.filePath(relative); }

    QByteArray bookmarkNewFile(const QString& relative, const QByteArray& content = "RIFF fake audio")
    {
        QDir().mkpath(QFileInfo(path(relative)).absolutePath());
        EXPECT_TRUE(fixtures::writeFile(path(relative), content));
        return FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(path(relative)));
    }

    // A real rename, so the file keeps its inode.
    void move(const QString& from, const QString& to)
    {
        std::filesystem::rename(path(from).toStdString(), path(to).toStdString());
    }

    // "path stale error" as the resolution reports them; stale starts true so that a result must clear it.
    static QString resolve(const QByteArray& data)
    {
        bool stale = true;
        QString error;
        const QUrl url = FileBookmark::URLByResolvingBookmarkData(data, &stale, &error);
        return url.toLocalFile() + (stale ? " stale " : " fresh ") + error;
    }
    QString found(const QString& relative, bool stale) const { return path(relative) + (stale ? " stale " : " fresh "); }

    QTemporaryDir m_root;
};

} // namespace

TEST_F(FileBookmarkTest, AFileIsFoundWhereItIsOrNearbyOnceMovedAndADeletedFileOrDataThatIsNotABookmarkGiveAnError)
{
    const QByteArray data = bookmarkNewFile("Music/song one.wav");
    ASSERT_FALSE(data.isEmpty());
    EXPECT_EQ(resolve(data), found("Music/song one.wav", false));
    // A path written with redundant parts names the same file; only existing local files give data.
    EXPECT_EQ(FileBookmark::bookmarkDataFromURL(QUrl::fromLocalFile(path("Music/../Music/song one.wav"))), data);
    for (const QUrl& url : {QUrl(), QUrl("http://localhost/Music/song.wav"), QUrl::fromLocalFile(path("Music/missing.wav")),
                            QUrl::fromLocalFile(path("Music"))})
        EXPECT_TRUE(FileBookmark::bookmarkDataFromURL(url).isEmpty()) << url.toString().toStdString();

    QByteArray wrongMagic = data;
    wrongMagic[0] = char(wrongMagic[0] ^ 0x20);
    // The same path with a NUL after it: the length ahead of the path grows by one.
    QByteArray nulInPath = data;
    const qsizetype lengthAt = 8 + 2, pathAt = lengthAt + 4;
    const quint32 pathLength = qFromBigEndian<quint32>(nulInPath.constData() + lengthAt);
    nulInPath.insert(pathAt + pathLength, '\0');
    qToBigEndian<quint32>(pathLength + 1, nulInPath.data() + lengthAt);
    QList<QByteArray> bad = {QByteArray(), QByteArray("garbage"), data + 'x', wrongMagic, nulInPath};
    for (qsizetype n = 1; n < data.size(); ++n)
        bad.append(data.left(n));
    for (const QByteArray& b : bad)
        EXPECT_EQ(resolve(b), " fresh bookmark data is not valid") << b.toHex().toStdString();

    ASSERT_TRUE(QFile::remove(path("Music/song one.wav")));
    EXPECT_EQ(resolve(data), " fresh file not found: " + path("Music/song one.wav"));

    // Renamed, moved or replaced, a file is found nearby and the bookmark is stale.
    const QByteArray moved = bookmarkNewFile("Music/Artist/Album/song.wav");
    bookmarkNewFile("Music/Artist/Album/other.wav", "another file of the same folder");
    move("Music/Artist/Album/song.wav", "Music/Artist/Album/01 song.wav");
    EXPECT_EQ(resolve(moved), found("Music/Artist/Album/01 song.wav", true));
    move("Music/Artist/Album/01 song.wav", "Music/Artist/song.wav"); // to the parent folder
    EXPECT_EQ(resolve(moved), found("Music/Artist/song.wav", true));
    move("Music/Artist/song.wav", "Music/Artist/Album/song.wav");
    move("Music/Artist/Album", "Music/Artist/Album (2019)"); // back home, and then its folder renamed
    EXPECT_EQ(resolve(moved), found("Music/Artist/Album (2019)/song.wav", true));
    // Thrown into a hidden folder, a trash or a settings folder, it counts as gone.
    QDir().mkpath(path("Music/Artist/.Trash"));
    move("Music/Artist/Album (2019)/song.wav", "Music/Artist/.Trash/song.wav");
    EXPECT_EQ(resolve(moved), " fresh file not found: " + path("Music/Artist/Album/song.wav"));

    // An editor's save: a new file written beside it, then renamed over it.
    const QByteArray saved = bookmarkNewFile("Music/saved.wav", "first version");
    bookmarkNewFile("Music/saved.wav.tmp", "second, longer version");
    move("Music/saved.wav.tmp", "Music/saved.wav");
    EXPECT_EQ(resolve(saved), found("Music/saved.wav", true));
}
