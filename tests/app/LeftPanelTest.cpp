// The left panel driven as a user does: the library's songs after the scan, the search, playing
// rows, the playlist dialogs, adding the open track and stepping through the playlist.
#include "WindowFixture.h"

#include "library/LTMusicLibraryPlaylistManager.h"
#include "waveform/WaveScrollView.h"
#include "waveform/WaveView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDropEvent>
#include <QMimeData>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>
#include <QSplitter>
#include <QStandardPaths>
#include <QTableView>
#include <QWindow>

namespace {

const QStringList kSongs{QStringLiteral("Bach Prelude"), QStringLiteral("Coltrane Naima"),
                         QStringLiteral("Django Minor Swing")};

QStringList files(const QStringList& songs)
{
    QStringList out;
    for (const QString& song : songs)
        out << song + QStringLiteral(".wav");
    return out;
}

struct LeftPanel : WindowFixture {
    QString music;

    void SetUp() override
    {
        // What a first launch finds, also when the tests share a process: no playlists, no index.
        for (const auto location : {QStandardPaths::AppDataLocation, QStandardPaths::MusicLocation}) {
            const QString folder = QStandardPaths::writableLocation(location);
            ASSERT_TRUE(folder.startsWith(QDir::tempPath())) << "the test's own home, never the user's";
            QDir(folder).removeRecursively();
        }
        music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
        QDir().mkpath(music);
        for (const QString& song : kSongs)
            ASSERT_TRUE(fixtures::writeWav(music + QLatin1Char('/') + song + QStringLiteral(".wav"),
                                           fixtures::stereoSines(44100, 44100, 440.0, 0.25f)));
        WindowFixture::SetUp();
        ASSERT_TRUE(waitFor([&] { return rows(library()).size() == kSongs.size(); })) << rows(library()).join(", ").toStdString();
    }

    QTableView* library() const { return vc->musicLibraryTableView(); }
    QTableView* playlist() const { return vc->playlistTracksTableView(); }

    static QStringList rows(QTableView* table)
    {
        QStringList out;
        for (int r = 0; r < table->model()->rowCount(); ++r)
            out << table->model()->index(r, 0).data().toString();
        return out;
    }

    QAbstractButton* button(const QString& name) const
    {
        for (QAbstractButton* b : vc->leftSidebarView()->findChildren<QAbstractButton*>())
            if (b->accessibleName() == name)
                return b;
        ADD_FAILURE() << "no button " << name.toStdString();
        return nullptr;
    }

    static void doubleClickRow(QTableView* table, int row)
    {
        const QRect cell = table->visualRect(table->model()->index(row, 0));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, cell.center());
    }

    template <class Dialog>
    static Dialog* shownDialog()
    {
        Dialog* found = nullptr;
        waitFor([&] {
            found = qobject_cast<Dialog*>(QApplication::activeModalWidget());
            return found && found->isVisible();
        });
        return found;
    }

    static void press(QWidget* dialog, const QString& text)
    {
        for (QPushButton* b : dialog->findChildren<QPushButton*>())
            if (b->text() == text) {
                QTest::mouseClick(b, Qt::LeftButton);
                settle();
                return;
            }
        ADD_FAILURE() << "no button " << text.toStdString();
    }

    // Names a playlist through the real dialog, pressing `ok` or Cancel.
    void answerNameDialog(const QString& typed, const QString& pressed, const QString& expectedPrefill = {})
    {
        auto* dialog = shownDialog<QInputDialog>();
        ASSERT_NE(dialog, nullptr);
        auto* field = dialog->findChild<QLineEdit*>();
        ASSERT_NE(field, nullptr);
        EXPECT_EQ(field->text(), expectedPrefill);
        field->selectAll();
        QTest::keyClick(field, Qt::Key_Backspace);
        QTest::keyClicks(field, typed);
        press(dialog, pressed);
        waitFor([] { return !QApplication::activeModalWidget(); });
    }

    QStringList playlistNames() const
    {
        QStringList out;
        for (int i = 0; i < vc->playlistSelectorPopup()->count(); ++i)
            out << vc->playlistSelectorPopup()->itemText(i);
        return out;
    }

    QString title() const { return window->windowTitle(); }
};

TEST_F(LeftPanel, TheLibraryListsTheMusicFolderAndTheSearchNarrowsIt)
{
    EXPECT_EQ(library()->model()->headerData(0, Qt::Horizontal).toString(), QStringLiteral("Title"));
    EXPECT_EQ(library()->model()->headerData(1, Qt::Horizontal).toString(), QStringLiteral("Artist"));
    QStringList shown = rows(library());
    shown.sort();
    EXPECT_EQ(shown, kSongs);

    const struct {
        const char* typed;
        QStringList expected;
    } cases[] = {
        {"naima", {QStringLiteral("Coltrane Naima")}},
        {"PRELUDE", {QStringLiteral("Bach Prelude")}},
        {"nothing like this", {}},
        {"", kSongs},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        vc->librarySearchField()->selectAll();
        QTest::keyClick(vc->librarySearchField(), Qt::Key_Backspace);
        QTest::keyClicks(vc->librarySearchField(), QString::fromUtf8(c.typed));
        settle();
        QStringList got = rows(library());
        got.sort();
        EXPECT_EQ(got, c.expected);
    }
    EXPECT_TRUE(vc->libraryScanLabel()->isHidden()) << "the scan is over";
}

TEST_F(LeftPanel, ATaggedSongShowsItsArtistAndAProtectedOneItsReasonWithoutBeingPickable)
{
    const QString plain = music + QStringLiteral("/") + kSongs[0] + QStringLiteral(".wav");
    const QString steps = music + QStringLiteral("/steps.wav"), bought = music + QStringLiteral("/bought.m4p");
    // The music folder outlives the test when the tests share a process.
    const auto removeThem = qScopeGuard([&] {
        QFile::remove(steps);
        QFile::remove(bought);
    });
    const QStringList tags{"-metadata", "title=Giant Steps", "-metadata", "artist=John Coltrane"};
    ASSERT_TRUE(fixtures::ffmpegConvert(plain, steps, tags));
    ASSERT_TRUE(fixtures::ffmpegConvert(plain, bought, QStringList{"-f", "mp4", "-c:a", "aac"} + tags));
    ASSERT_TRUE(waitFor([&] { return rows(library()).size() == kSongs.size() + 2; })) << rows(library()).join(", ").toStdString();
    for (const char* shown : {"Giant Steps", "Giant Steps (DRM protected)"}) {
        SCOPED_TRACE(shown);
        const int row = int(rows(library()).indexOf(QString::fromUtf8(shown)));
        ASSERT_GE(row, 0) << rows(library()).join(", ").toStdString();
        EXPECT_EQ(library()->model()->index(row, 1).data().toString(), QStringLiteral("John Coltrane"));
        library()->clearSelection();
        QTest::mouseClick(library()->viewport(), Qt::LeftButton, {}, library()->visualRect(library()->model()->index(row, 0)).center());
        EXPECT_EQ(library()->selectionModel()->selectedRows().size(), QString::fromUtf8(shown).contains("DRM") ? 0 : 1);
    }
}

TEST_F(LeftPanel, DoubleClickingALibraryRowOpensThatSong)
{
    for (const QString& song : {kSongs[2], kSongs[0]}) {
        const int row = int(rows(library()).indexOf(song));
        ASSERT_GE(row, 0);
        doubleClickRow(library(), row);
        EXPECT_TRUE(waitFor([&] { return title() == song + QStringLiteral(".wav"); })) << title().toStdString();
        EXPECT_EQ(vc->currentTrackIndex(), ViewController::NotFound);
    }
}

TEST_F(LeftPanel, PlaylistsAreMadeRenamedAndDeletedThroughTheirDialogs)
{
    const QStringList start = playlistNames();
    ASSERT_EQ(start.size(), 1);

    const struct {
        const char* what;
        const char* typed;
        const char* pressed;
        QStringList expected;
    } creating[] = {
        {"named", "  Scales  ", "Create", start + QStringList{QStringLiteral("Scales")}},
        {"blank gets the plain name", "   ", "Create", start + QStringList{QStringLiteral("Scales"), QStringLiteral("Playlist")}},
        {"cancelled", "Never", "Cancel", start + QStringList{QStringLiteral("Scales"), QStringLiteral("Playlist")}},
    };
    for (const auto& c : creating) {
        SCOPED_TRACE(c.what);
        QTest::mouseClick(button(QStringLiteral("Create new playlist")), Qt::LeftButton);
        answerNameDialog(QString::fromUtf8(c.typed), QString::fromUtf8(c.pressed));
        EXPECT_EQ(playlistNames(), c.expected);
    }
    EXPECT_EQ(vc->playlistSelectorPopup()->currentText(), QStringLiteral("Playlist")) << "the new one is selected";

    const struct {
        const char* what;
        const char* typed;
        const char* expectedName;
    } renaming[] = {
        {"renamed", "Etudes", "Etudes"},
        {"blank keeps the name", "  ", "Etudes"},
    };
    for (const auto& c : renaming) {
        SCOPED_TRACE(c.what);
        const QString before = vc->playlistSelectorPopup()->currentText();
        QTest::mouseClick(button(QStringLiteral("Rename current playlist")), Qt::LeftButton);
        answerNameDialog(QString::fromUtf8(c.typed), QStringLiteral("Rename"), before);
        EXPECT_EQ(vc->playlistSelectorPopup()->currentText(), QString::fromUtf8(c.expectedName));
    }

    // Cancel keeps it, Delete removes it; the last one can't go.
    QTest::mouseClick(button(QStringLiteral("Delete current playlist")), Qt::LeftButton);
    auto* alert = shownDialog<QMessageBox>();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->text(), QStringLiteral("Delete Playlist"));
    EXPECT_EQ(alert->informativeText(), QStringLiteral("Are you sure you want to delete \"Etudes\"?"));
    press(alert, QStringLiteral("Cancel"));
    EXPECT_TRUE(playlistNames().contains(QStringLiteral("Etudes")));
    for (int left = int(playlistNames().size()); left > 1; --left) {
        QTest::mouseClick(button(QStringLiteral("Delete current playlist")), Qt::LeftButton);
        auto* next = shownDialog<QMessageBox>();
        ASSERT_NE(next, nullptr);
        press(next, QStringLiteral("Delete"));
        waitFor([] { return !QApplication::activeModalWidget(); });
        EXPECT_EQ(playlistNames().size(), left - 1);
    }
    EXPECT_FALSE(button(QStringLiteral("Delete current playlist"))->isEnabled());
}

TEST_F(LeftPanel, TheOpenTrackGoesIntoThePlaylistAndNextAndPreviousWrapRound)
{
    for (const QString& song : kSongs) {
        const int row = int(rows(library()).indexOf(song));
        doubleClickRow(library(), row);
        ASSERT_TRUE(waitFor([&] { return title() == song + QStringLiteral(".wav"); }));
        QTest::mouseClick(button(QStringLiteral("Add current file to playlist")), Qt::LeftButton);
        settle();
    }
    // Adding the same file again changes nothing.
    QTest::mouseClick(button(QStringLiteral("Add current file to playlist")), Qt::LeftButton);
    // A file added by itself is titled by its file name.
    EXPECT_EQ(rows(playlist()), files(kSongs));

    QAction* next = window->findChild<QAction*>(QStringLiteral("nextTrack"));
    QAction* previous = window->findChild<QAction*>(QStringLiteral("previousTrack"));
    ASSERT_TRUE(next && previous);
    const struct {
        QAction* item;
        int expectedRow;
    } steps[] = {{next, 0}, {next, 1}, {next, 2}, {next, 0}, {previous, 2}, {previous, 1}, {previous, 0}, {previous, 2}};
    for (const auto& s : steps) {
        SCOPED_TRACE(s.item->text().toStdString() + " to " + std::to_string(s.expectedRow));
        s.item->trigger();
        EXPECT_TRUE(waitFor([&] { return vc->currentTrackIndex() == s.expectedRow; })) << vc->currentTrackIndex();
        EXPECT_EQ(title(), kSongs[s.expectedRow] + QStringLiteral(".wav"));
    }

    // Double-clicking a playlist row plays it, and removing it forgets it as the current one.
    doubleClickRow(playlist(), 1);
    ASSERT_TRUE(waitFor([&] { return vc->currentTrackIndex() == 1; }));
    playlist()->selectRow(1);
    QTest::mouseClick(button(QStringLiteral("Remove selected track from playlist")), Qt::LeftButton);
    EXPECT_EQ(rows(playlist()), files({kSongs[0], kSongs[2]}));
    EXPECT_EQ(vc->currentTrackIndex(), ViewController::NotFound);
}

TEST_F(LeftPanel, ARowWhoseFileIsGoneShowsWhyInTheDisabledColour)
{
    const int row = int(rows(library()).indexOf(kSongs[1]));
    doubleClickRow(library(), row);
    ASSERT_TRUE(waitFor([&] { return title() == kSongs[1] + QStringLiteral(".wav"); }));
    QTest::mouseClick(button(QStringLiteral("Add current file to playlist")), Qt::LeftButton);
    ASSERT_TRUE(QFile::remove(music + QLatin1Char('/') + kSongs[1] + QStringLiteral(".wav")));
    doubleClickRow(library(), int(rows(library()).indexOf(kSongs[0])));
    ASSERT_TRUE(waitFor([&] { return title() == kSongs[0] + QStringLiteral(".wav"); }));
    const QModelIndex gone = playlist()->model()->index(0, 0);
    EXPECT_EQ(gone.data().toString(), kSongs[1] + QStringLiteral(".wav (Missing local file)"));
    EXPECT_EQ(gone.data(Qt::ForegroundRole).value<QColor>(), QApplication::palette().color(QPalette::Disabled, QPalette::Text));
}

TEST_F(LeftPanel, SelectedLibrarySongsGoIntoThePlaylistOnceAndAreThereAtTheNextLaunch)
{
    const struct {
        QString song;
        QStringList expected;
    } cases[] = {
        {kSongs[2], {kSongs[2]}},
        {kSongs[0], {kSongs[2], kSongs[0]}},
        {kSongs[2], {kSongs[2], kSongs[0]}}, // already there
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.song.toStdString());
        const QRect cell = library()->visualRect(library()->model()->index(int(rows(library()).indexOf(c.song)), 0));
        QTest::mouseClick(library()->viewport(), Qt::LeftButton, {}, cell.center());
        QTest::mouseClick(button(QStringLiteral("Add selected tracks to playlist")), Qt::LeftButton);
        EXPECT_EQ(rows(playlist()), c.expected);
    }
    start();
    EXPECT_EQ(rows(playlist()), (QStringList{kSongs[2], kSongs[0]}));
}

TEST_F(LeftPanel, TheDividerBetweenTheTablesComesBackFromItsStoredShare)
{
    const struct {
        QVariant stored;
        double expected;
    } cases[] = {
        {QVariant(), 0.66}, {0.5, 0.66}, {0.9, 0.8}, {0.1, 0.2}, {0.35, 0.35},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored.toString().toStdString());
        if (c.stored.isValid())
            defaults->setObject(c.stored, QStringLiteral("LeftMusicPanelTopRatio"));
        else
            defaults->removeObjectForKey(QStringLiteral("LeftMusicPanelTopRatio"));
        defaults->synchronize();
        // Tall enough that neither table's least height stands in the way.
        start(1200, 1600);
        ASSERT_TRUE(waitFor([&] { return vc->leftPanelSplitView()->height() > 0 && vc->leftPanelSplitView()->sizes().value(0) > 0; }));
        settle();
        const double height = vc->leftPanelSplitView()->height();
        const QWidget* topPane = vc->leftPanelSplitView()->widget(0);
        EXPECT_NEAR(topPane->height() / height, c.expected, 0.01);
        EXPECT_NEAR(defaults->objectForKey(QStringLiteral("LeftMusicPanelTopRatio")).toDouble(), c.expected, 0.01);
    }
}

// Tracks dragged into the playlist arrive as Qt delivers a drag: enter, move, drop, over the real
// table, with the data its source table makes.
struct PlaylistDrops : LeftPanel {
    QString path(const QString& song) const { return music + QLatin1Char('/') + song + QStringLiteral(".wav"); }

    // Songs beyond the library's, for playlists longer than it.
    QStringList extraSongs(int count)
    {
        QStringList songs;
        for (int i = 0; i < count; ++i) {
            songs << QStringLiteral("Extra %1").arg(i);
            EXPECT_TRUE(fixtures::writeWav(path(songs.last()), fixtures::stereoSines(44100, 22050, 330.0, 0.25f)));
        }
        return songs;
    }

    static QMimeData* filesDrag(const QStringList& paths)
    {
        auto* data = new QMimeData;
        QList<QUrl> urls;
        for (const QString& p : paths)
            urls << QUrl::fromLocalFile(p);
        data->setUrls(urls);
        return data;
    }

    QMimeData* playlistRowsDrag(const QList<int>& picked) const
    {
        playlist()->clearSelection();
        for (const int row : picked)
            playlist()->selectionModel()->select(playlist()->model()->index(row, 0),
                                                 QItemSelectionModel::Select | QItemSelectionModel::Rows);
        return playlist()->model()->mimeData(playlist()->selectionModel()->selectedIndexes());
    }

    // A drag over `target` at `at` and a drop there, delivered to the window as the platform's
    // drag manager does, so Qt itself picks the widget that takes drops. The drop comes only when
    // the move was accepted, as a real one does. Shift makes the source propose a move. The
    // action the source learns, or IgnoreAction for a refusal.
    Qt::DropAction dragOnto(QWidget* target, QPoint at, QMimeData* data, Qt::KeyboardModifiers modifiers = {})
    {
        const std::unique_ptr<QMimeData> owned(data);
        QWindow* handle = window->windowHandle();
        const QPoint inWindow = target->mapTo(window, at);
        const Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction;
        QDragEnterEvent enter(inWindow, offered, data, Qt::LeftButton, modifiers);
        QApplication::sendEvent(handle, &enter);
        // A move starts out with what the enter accepted; a widget may change its mind.
        QDragMoveEvent move(inWindow, offered, data, Qt::LeftButton, modifiers);
        if (enter.isAccepted() && (offered & enter.dropAction())) {
            move.setDropAction(enter.dropAction());
            move.accept();
        }
        QApplication::sendEvent(handle, &move);
        if (!move.isAccepted()) {
            QDragLeaveEvent leave;
            QApplication::sendEvent(handle, &leave);
            settle();
            return Qt::IgnoreAction;
        }
        QDropEvent drop(QPointF(inWindow), offered, data, Qt::LeftButton, modifiers);
        QApplication::sendEvent(handle, &drop);
        settle();
        EXPECT_EQ(move.dropAction(), drop.dropAction()) << "the drag promised what the drop did";
        return drop.isAccepted() ? drop.dropAction() : Qt::IgnoreAction;
    }

    // Over the gap above `row`, or below the last row for the count.
    Qt::DropAction dropOnPlaylist(QMimeData* data, int row, Qt::KeyboardModifiers modifiers = {})
    {
        const int count = playlist()->model()->rowCount();
        const QRect cell = playlist()->visualRect(playlist()->model()->index(std::min(row, count - 1), 0));
        const QPoint at = count == 0 ? QPoint(20, 4) : row < count ? QPoint(cell.center().x(), cell.top() + 1)
                                                                   : QPoint(cell.center().x(), cell.bottom() - 1);
        return dragOnto(playlist()->viewport(), at, data, modifiers);
    }

    // An empty playlist filled by one drop of the songs' files, with `current` played.
    void fillPlaylist(const QStringList& songs, int current)
    {
        vc->libraryPlaylistManager()->selectedPlaylist()->items().clear();
        vc->reloadPlaylistUI();
        QStringList paths;
        for (const QString& song : songs)
            paths << path(song);
        ASSERT_EQ(dropOnPlaylist(filesDrag(paths), 0), Qt::CopyAction);
        doubleClickRow(playlist(), current);
        ASSERT_TRUE(waitFor([&] { return vc->currentTrackIndex() == current; }));
    }

    QList<int> selectedRows() const
    {
        QList<int> out;
        for (const QModelIndex& index : playlist()->selectionModel()->selectedRows())
            out << index.row();
        std::sort(out.begin(), out.end());
        return out;
    }
};

TEST_F(PlaylistDrops, RowsMovedWithinThePlaylistKeepTheirOrderAndTheCurrentTrack)
{
    const QStringList songs = QStringList(kSongs) << extraSongs(1);
    const struct {
        QList<int> dragged;
        int dropRow;
        int current;
        QList<int> order;
        QList<int> selected;
        int currentAfter;
    } cases[] = {
        {{0, 2}, 4, 1, {1, 3, 0, 2}, {2, 3}, 0},
        {{2, 0}, 4, 2, {1, 3, 0, 2}, {2, 3}, 3}, // picked in another order
        {{3}, 0, 0, {3, 0, 1, 2}, {0}, 1},
        {{1}, 1, 1, {0, 1, 2, 3}, {1}, 1}, // onto its own place
        {{1}, 2, 3, {0, 1, 2, 3}, {1}, 3}, // just below its own place
        {{0, 1}, 3, 0, {2, 0, 1, 3}, {1, 2}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "rows " << c.dragged.first() << "… to " << c.dropRow);
        fillPlaylist(songs, c.current);
        EXPECT_EQ(dropOnPlaylist(playlistRowsDrag(c.dragged), c.dropRow), Qt::MoveAction);
        QStringList expected;
        for (const int i : c.order)
            expected << songs[i] + QStringLiteral(".wav");
        EXPECT_EQ(rows(playlist()), expected);
        EXPECT_EQ(selectedRows(), c.selected);
        EXPECT_EQ(vc->currentTrackIndex(), c.currentAfter);
    }
    // Back from another playlist, the track still playing is found again by its identity.
    fillPlaylist(songs, 1);
    auto other = std::make_shared<LTPlaylist>();
    other->setName(QStringLiteral("Other"));
    vc->libraryPlaylistManager()->addPlaylist(other);
    vc->reloadPlaylistUI();
    for (const int index : {1, 0}) {
        vc->playlistSelectorPopup()->setCurrentIndex(index);
        vc->switchPlaylist();
    }
    ASSERT_EQ(vc->currentTrackIndex(), ViewController::NotFound);
    EXPECT_EQ(dropOnPlaylist(playlistRowsDrag({1}), 4), Qt::MoveAction);
    EXPECT_EQ(vc->currentTrackIndex(), 3);

    // The order is what the next launch finds.
    start();
    EXPECT_EQ(rows(playlist()).last(), songs[1] + QStringLiteral(".wav"));
}

TEST_F(PlaylistDrops, FilesFromTheDesktopAreInsertedInOrderAsCopiesOnlyOnce)
{
    const QStringList extra = extraSongs(3);
    fillPlaylist(kSongs, 2);
    // A plain path under the URL type is taken as a file, as some desktops send it.
    auto* data = new QMimeData;
    data->setData(QStringLiteral("text/uri-list"), (QUrl::fromLocalFile(path(extra[0])).toString() + QStringLiteral("\r\n")
                                                    + path(extra[1]) + QStringLiteral("\r\n# a comment\r\n")
                                                    + QUrl::fromLocalFile(path(extra[2])).toString())
                                                       .toUtf8());
    // A file manager proposing a move still only gets a copy: its file stays where it is.
    EXPECT_EQ(dropOnPlaylist(data, 1, Qt::ShiftModifier), Qt::CopyAction);
    const QStringList expected{kSongs[0] + ".wav", extra[0] + ".wav", extra[1] + ".wav", extra[2] + ".wav",
                               kSongs[1] + ".wav", kSongs[2] + ".wav"};
    EXPECT_EQ(rows(playlist()), expected);
    EXPECT_EQ(vc->currentTrackIndex(), 5);
    EXPECT_TRUE(QFile::exists(path(extra[0])));

    const struct {
        const char* what;
        QList<QUrl> urls;
    } refused[] = {
        {"files already there", {QUrl::fromLocalFile(path(extra[1])), QUrl::fromLocalFile(path(kSongs[0]))}},
        {"a web address", {QUrl(QStringLiteral("https://example.org/a.mp3"))}},
    };
    for (const auto& r : refused) {
        SCOPED_TRACE(r.what);
        auto* drag = new QMimeData;
        drag->setUrls(r.urls);
        EXPECT_EQ(dropOnPlaylist(drag, 0), Qt::IgnoreAction);
        EXPECT_EQ(rows(playlist()), expected);
    }
}

TEST_F(PlaylistDrops, ALibrarySongGoesIntoThePlaylistOnceAndOntoTheWaveAsItsFile)
{
    fillPlaylist({kSongs[0]}, 0);
    const auto songDrag = [&](const QString& song) {
        const QModelIndex row = library()->model()->index(int(rows(library()).indexOf(song)), 0);
        return library()->model()->mimeData({row});
    };
    EXPECT_EQ(dropOnPlaylist(songDrag(kSongs[2]), 0), Qt::CopyAction);
    EXPECT_EQ(rows(playlist()), (QStringList{kSongs[2], kSongs[0] + ".wav"}));
    EXPECT_EQ(vc->currentTrackIndex(), 1);
    EXPECT_EQ(dropOnPlaylist(songDrag(kSongs[2]), 2), Qt::IgnoreAction);
    EXPECT_EQ(rows(playlist()).size(), 2);

    // Other applications and the wave see the song as its file.
    QMimeData* outward = songDrag(kSongs[1]);
    ASSERT_EQ(outward->urls().size(), 1);
    EXPECT_EQ(outward->urls().first(), QUrl::fromLocalFile(path(kSongs[1])));
    auto* wave = window->findChild<WaveView*>();
    ASSERT_NE(wave, nullptr);
    EXPECT_NE(dragOnto(wave, wave->rect().center(), outward), Qt::IgnoreAction);
    EXPECT_TRUE(waitFor([&] { return title() == kSongs[1] + QStringLiteral(".wav"); })) << title().toStdString();
    QDir().mkpath(QStringLiteral(LENTO_ARTIFACTS_DIR));
    EXPECT_TRUE(window->grab().save(QStringLiteral(LENTO_ARTIFACTS_DIR "/left-panel.png")));
}

} // namespace
