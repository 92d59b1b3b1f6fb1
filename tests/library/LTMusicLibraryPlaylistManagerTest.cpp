#include "library/FileBookmark.h"
#include "library/LTMusicLibraryPlaylistManager.h"

#include "common/Testing.h"

namespace {

// A library of two short WAVs and a playlist store, in a fresh folder.
class LTMusicLibraryPlaylistManagerTest : public ::testing::Test {
protected:
    // Also run afresh for each row of a table.
    void SetUp() override
    {
        m_manager.reset();
        m_dir = std::make_unique<QTemporaryDir>();
        QDir(m_dir->path()).mkpath("Music");
        for (const char* name : {"kept.wav", "moved.wav"})
            ASSERT_TRUE(fixtures::writeWav(music(name), fixtures::stereoSines(8000, 800 + int(std::strlen(name)))));
        m_manager = std::make_unique<LTMusicLibraryPlaylistManager>(
            m_dir->filePath("data"), std::make_unique<MusicLibraryIndex>(QStringList{music("")}, m_dir->filePath("index.sqlite")));
        rescan();
    }

    void rescan()
    {
        QSignalSpy finished(m_manager->musicLibrary(), &MusicLibraryIndex::scanFinished);
        m_manager->musicLibrary()->rescan();
        ASSERT_TRUE(finished.wait(30000));
        m_manager->reloadMusicLibrary();
    }

    QString music(const QString& name) const { return m_dir->filePath("Music/" + name); }

    LTMusicLibraryEntryPtr entry(const QString& title) const
    {
        for (const LTMusicLibraryEntryPtr& e : m_manager->musicFilteredEntries())
            if (e->displayName() == title)
                return e;
        return nullptr;
    }

    // An item as the playlist table would have stored it when the track was added.
    LTPlaylistItemPtr libraryItem(const QString& title) const { return LTPlaylistStore::playlistItemFromMusicEntry(*entry(title)); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<LTMusicLibraryPlaylistManager> m_manager;
};

} // namespace

TEST_F(LTMusicLibraryPlaylistManagerTest, ItemsResolveByBookmarkThenURLThenLibraryAndHealOnTheWay)
{
    // The item, what then happens to the files, whether a bookmark is wanted, what it resolves to in
    // the Music folder (empty: nothing), how it is marked, and whether its bookmark (and a library
    // track's URL) is renewed.
    struct Case { const char* what; std::function<LTPlaylistItemPtr()> make; std::function<void()> change; bool wantBookmark;
                  QString resolvedName; bool unavailable; QString reason; bool healed; };
    const auto fileItem = [this] { return LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(music("moved.wav"))); };
    // A library item that also stores a URL: `name` in the Music folder, or `url` as it is.
    const auto libraryAt = [this](const char* title, const QString& name, const char* url = "") {
        auto i = libraryItem(title);
        i->setFileURLString(name.isEmpty() ? QString(url) : QUrl::fromLocalFile(music(name)).toString(QUrl::FullyEncoded));
        return i;
    };
    const auto moveAgain = [this] { ASSERT_TRUE(QFile::rename(music("moved.wav"), music("moved again.wav"))); };
    const auto remove = [this] { QFile::remove(music("moved.wav")); };
    const Case cases[] = {
        {"a moved file is found by its bookmark", fileItem, moveAgain, false, "moved again.wav", false, "", false},
        {"a stale bookmark is renewed when asked", fileItem, moveAgain, true, "moved again.wav", false, "", true},
        {"a deleted plain file is left to the caller", [&] { auto i = fileItem(); i->setUnavailableReason("as it was"); return i; },
         remove, true, "", false, "as it was", false},
        {"a library track the library no longer knows",
         [&] { auto i = libraryAt("kept", "", "file:///old/place/kept.wav"); i->setMusicPersistentID("77"); return i; },
         [] {}, true, "", true, "Missing media item", false},
        {"a library track moved and rescanned heals its URL and bookmark",
         [&] { auto i = libraryAt("moved", "moved.wav"); i->setUnavailable(true); return i; },
         [&] { // copied, so no bookmark of the old file could follow it
             QFile::copy(music("moved.wav"), music("renamed.wav"));
             remove();
             rescan();
         },
         true, "renamed.wav", false, "", true},
        {"a kept file resolves by its stored URL alone",
         [&] { auto i = libraryAt("kept", "kept.wav"); i->setBookmarkData(QByteArray("not a bookmark")); return i; },
         [] {}, true, "kept.wav", false, "", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SetUp();
        const LTPlaylistItemPtr item = c.make();
        const QString urlBefore = item->fileURLString();
        const QByteArray bookmarkBefore = item->bookmarkData();
        c.change();
        const QUrl url = m_manager->resolvedURLForPlaylistItem(item, c.wantBookmark);
        EXPECT_EQ(url.toLocalFile(), c.resolvedName.isEmpty() ? QString() : music(c.resolvedName));
        EXPECT_EQ(std::tuple(item->isUnavailable(), item->unavailableReason()), std::tuple(c.unavailable, c.reason));
        EXPECT_EQ(item->bookmarkData() != bookmarkBefore, c.healed);
        const bool urlHealed = c.healed && item->sourceType() == 1; // a plain file's URL is its own
        EXPECT_EQ(item->fileURLString() != urlBefore, urlHealed);
        if (urlHealed)
            EXPECT_EQ(QUrl(item->fileURLString()).toLocalFile(), url.toLocalFile());
        if (c.healed)
            EXPECT_EQ(FileBookmark::URLByResolvingBookmarkData(item->bookmarkData(), nullptr, nullptr), url);
    }
}

TEST_F(LTMusicLibraryPlaylistManagerTest, EntriesResolveThroughTheLibraryKeepingTheirBookmarkAndComparingNeverRewritesOne)
{
    const LTMusicLibraryEntryPtr kept = entry("kept");
    kept->setBookmarkData(QByteArray("made earlier"));
    EXPECT_EQ(m_manager->resolveLocationForMusicEntry(kept, true).toLocalFile(), music("kept.wav"));
    EXPECT_EQ(kept->location().toLocalFile(), music("kept.wav"));
    EXPECT_EQ(kept->bookmarkData(), QByteArray("made earlier"));

    const LTMusicLibraryEntryPtr moved = entry("moved");
    EXPECT_FALSE(m_manager->resolveLocationForMusicEntry(moved, true).isEmpty());
    EXPECT_FALSE(moved->bookmarkData().isEmpty()) << "a bookmark is made when there is none";

    // An item added by hand, its file then renamed: found through its stale bookmark, which stays as it was.
    const LTPlaylistPtr playlist = m_manager->selectedPlaylist();
    const LTPlaylistItemPtr byHand = LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(music("moved.wav")));
    playlist->items() << byHand;
    ASSERT_TRUE(QFile::rename(music("moved.wav"), music("Moved.WAV")));
    const QByteArray stale = byHand->bookmarkData();
    EXPECT_FALSE(m_manager->playlistContainsEquivalentItem(playlist, libraryItem("kept")));
    EXPECT_TRUE(m_manager->playlistContainsEquivalentItem(
        playlist, LTPlaylistStore::playlistItemFromFileURL(QUrl::fromLocalFile(music("Moved.WAV")))));
    EXPECT_EQ(byHand->bookmarkData(), stale);

    ASSERT_TRUE(QFile::remove(music("Moved.WAV")));
    moved->setMediaItem(nullptr); // looked up again by its ID
    EXPECT_TRUE(m_manager->resolveLocationForMusicEntry(moved, true).isEmpty());
    EXPECT_FALSE(moved->isAvailable());
    EXPECT_EQ(moved->unavailableReason(), "Missing local file");
    EXPECT_TRUE(m_manager->resolveLocationForMusicEntry(nullptr, true).isEmpty());
}
