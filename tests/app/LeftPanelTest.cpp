// The left panel driven as a user does: the library's songs after the scan, the search, playing
// rows, the playlist dialogs, adding the open track and stepping through the playlist.
#include "WindowFixture.h"

#include <QDropEvent>
#include <QInputDialog>
#include <QMimeData>
#include <QScopeGuard>
#include <QTableView>
#include <QWindow>

namespace {

const QStringList kSongs{"Bach Prelude", "Coltrane Naima", "Django Minor Swing"};

QStringList wavs(QStringList songs)
{
    for (QString& song : songs)
        song += ".wav";
    return songs;
}

struct LeftPanel : WindowFixture {
    QString music;

    void SetUp() override
    {
        clearHome(QStandardPaths::MusicLocation);
        music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
        QDir().mkpath(music);
        for (const QString& song : kSongs)
            ASSERT_TRUE(fixtures::writeWav(path(song), fixtures::stereoSines(44100, 44100, 440.0, 0.25f)));
        WindowFixture::SetUp();
        ASSERT_TRUE(waitFor([&] { return rows(library()).size() == kSongs.size(); })) << rows(library()).join(", ").toStdString();
    }

    QString path(const QString& song, const char* type = ".wav") const { return music + '/' + song + type; }
    QTableView* library() const { return vc->musicLibraryTableView(); }
    QTableView* playlist() const { return vc->playlistTracksTableView(); }
    QString title() const { return window->windowTitle(); }
    int libraryRow(const QString& shown) const { return int(rows(library()).indexOf(shown)); }

    static QStringList rows(QAbstractItemView* view) { return texts(view->model()); }
    static QStringList texts(QAbstractItemModel* model)
    {
        QStringList out;
        for (int r = 0; r < model->rowCount(); ++r)
            out << model->index(r, 0).data().toString();
        return out;
    }

    QAbstractButton* button(const QString& name) const
    {
        const auto all = vc->leftSidebarView()->findChildren<QAbstractButton*>();
        const auto found = std::find_if(all.begin(), all.end(), [&](QAbstractButton* b) { return b->accessibleName() == name; });
        return found == all.end() ? nullptr : *found;
    }
    void click(const QString& name) const { QTest::mouseClick(button(name), Qt::LeftButton); }

    static void clickRow(QTableView* table, int row, bool twice = false)
    {
        const QPoint at = table->visualRect(table->model()->index(row, 0)).center();
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, at);
        if (twice)
            QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, at);
    }

    // Double-clicks the library's row of `song` and waits until it is open.
    bool openFromLibrary(const QString& song)
    {
        clickRow(library(), libraryRow(song), true);
        return waitFor([&] { return title() == song + ".wav"; });
    }

    // Presses the button that reads `text` in the dialog up now, after typing `typed` over what
    // its field held, if it has one.
    static void answer(const QString& text, const QString& typed = {})
    {
        QDialog* dialog = shownDialog<QDialog>();
        ASSERT_NE(dialog, nullptr);
        if (auto* field = dialog->findChild<QLineEdit*>()) {
            field->selectAll();
            QTest::keyClick(field, Qt::Key_Backspace);
            QTest::keyClicks(field, typed);
        }
        for (QPushButton* button : dialog->findChildren<QPushButton*>())
            if (button->text() == text)
                QTest::mouseClick(button, Qt::LeftButton);
        EXPECT_TRUE(waitFor([] { return !QApplication::activeModalWidget(); })) << text.toStdString();
    }

    QStringList playlistNames() const { return texts(vc->playlistSelectorPopup()->model()); }

    QUrl file(const QString& song) const { return QUrl::fromLocalFile(path(song)); }
    QMimeData* filesDrag(const QStringList& songs, QList<QUrl> urls = {}) const
    {
        for (const QString& song : songs)
            urls << file(song);
        auto* data = new QMimeData;
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
        move.setDropAction(enter.dropAction());
        move.setAccepted(enter.isAccepted() && (offered & enter.dropAction()));
        QApplication::sendEvent(handle, &move);
        QDropEvent drop(QPointF(inWindow), offered, data, Qt::LeftButton, modifiers);
        QDragLeaveEvent leave;
        QApplication::sendEvent(handle, move.isAccepted() ? static_cast<QEvent*>(&drop) : &leave);
        settle();
        EXPECT_TRUE(!move.isAccepted() || move.dropAction() == drop.dropAction()) << "the drag promised what the drop did";
        return move.isAccepted() && drop.isAccepted() ? drop.dropAction() : Qt::IgnoreAction;
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
        ASSERT_EQ(dropOnPlaylist(filesDrag(songs), 0), Qt::CopyAction);
        clickRow(playlist(), current, true);
        ASSERT_TRUE(waitFor([&] { return vc->currentTrackIndex() == current; }));
    }
};

TEST_F(LeftPanel, TheLibraryIsSearchedAndPickedFromAndPlaylistsAreMadeFilledSteppedThroughAndDeletedThroughTheirDialogs)
{
    const QString steps = path("steps"), bought = path("bought", ".m4p");
    // The music folder outlives the test when the tests share a process.
    const auto removeThem = qScopeGuard([&] { QFile::remove(steps), QFile::remove(bought); });
    const QStringList tags{"-metadata", "title=Giant Steps", "-metadata", "artist=John Coltrane"};
    ASSERT_TRUE(fixtures::ffmpegConvert(path(kSongs[0]), steps, tags));
    ASSERT_TRUE(fixtures::ffmpegConvert(path(kSongs[0]), bought, QStringList{"-f", "mp4", "-c:a", "aac"} + tags));
    const QStringList tagged{"Giant Steps", "Giant Steps (DRM protected)"};
    ASSERT_TRUE(waitFor([&] { return rows(library()).size() == kSongs.size() + 2; })) << rows(library()).join(", ").toStdString();
    for (const auto& [typed, expected] : {std::pair{"coltrane", QStringList{kSongs[1]} + tagged}, {"PRELUDE", {kSongs[0]}},
                                          {"nothing like this", {}}, {"", kSongs + tagged}}) {
        SCOPED_TRACE(typed);
        vc->librarySearchField()->clear();
        QTest::keyClicks(vc->librarySearchField(), typed);
        settle();
        QStringList got = rows(library());
        got.sort();
        EXPECT_EQ(got, expected);
    }
    // A tagged song shows its artist; a protected one says why and can't be picked.
    for (const QString& shown : tagged) {
        SCOPED_TRACE(shown.toStdString());
        const int row = libraryRow(shown);
        EXPECT_EQ(library()->model()->index(row, 1).data().toString(), "John Coltrane");
        library()->clearSelection();
        clickRow(library(), row);
        EXPECT_EQ(library()->selectionModel()->selectedRows().size(), shown.contains("DRM") ? 0 : 1);
    }
    // Picked songs go into the playlist once; the last one is there already.
    for (const auto& [song, expected] : {std::pair{kSongs[2], QStringList{kSongs[2]}}, {kSongs[0], {kSongs[2], kSongs[0]}},
                                         {kSongs[2], {kSongs[2], kSongs[0]}}}) {
        SCOPED_TRACE(song.toStdString());
        clickRow(library(), libraryRow(song));
        click("Add selected tracks to playlist");
        EXPECT_EQ(rows(playlist()), expected);
    }

    // Playlists are made through their dialogs, filled with the open track, stepped through and deleted.
    QStringList expected = playlistNames();
    ASSERT_EQ(expected.size(), 1);
    // Named, blank (the plain name), cancelled.
    for (const auto& [typed, pressed, made] : {std::tuple{"  Scales  ", "Create", "Scales"}, {"   ", "Create", "Playlist"},
                                               {"Never", "Cancel", ""}}) {
        SCOPED_TRACE(typed);
        click("Create new playlist");
        answer(pressed, typed);
        if (*made)
            expected << made;
        EXPECT_EQ(playlistNames(), expected);
    }
    EXPECT_EQ(vc->playlistSelectorPopup()->currentText(), "Playlist") << "the new one is selected";
    // A blank name keeps the old one.
    for (const QString typed : {"Etudes", "  "}) {
        click("Rename current playlist");
        EXPECT_EQ(shownDialog<QInputDialog>()->textValue(), vc->playlistSelectorPopup()->currentText()) << "the old name to edit";
        answer("Rename", typed);
        EXPECT_EQ(vc->playlistSelectorPopup()->currentText(), "Etudes");
    }

    for (const QString& song : kSongs) {
        ASSERT_TRUE(openFromLibrary(song));
        EXPECT_EQ(vc->currentTrackIndex(), ViewController::NotFound) << "opened from the library, not the playlist";
        click("Add current file to playlist");
        settle();
    }
    // Adding the same file again changes nothing; a file added by itself is titled by its file name.
    click("Add current file to playlist");
    EXPECT_EQ(rows(playlist()), wavs(kSongs));
    QAction* next = window->findChild<QAction*>("nextTrack");
    QAction* previous = window->findChild<QAction*>("previousTrack");
    for (const auto& [item, row] : {std::pair{next, 0}, {next, 1}, {next, 2}, {next, 0}, {previous, 2}, {previous, 1},
                                    {previous, 0}, {previous, 2}}) {
        SCOPED_TRACE(item->text().toStdString() + " to " + std::to_string(row));
        item->trigger();
        EXPECT_TRUE(waitFor([&, row = row] { return vc->currentTrackIndex() == row; })) << vc->currentTrackIndex();
        EXPECT_EQ(title(), kSongs[row] + ".wav");
    }
    // Removing the current row forgets it as the current one.
    playlist()->selectRow(2);
    click("Remove selected track from playlist");
    EXPECT_EQ(rows(playlist()), wavs({kSongs[0], kSongs[1]}));
    EXPECT_EQ(vc->currentTrackIndex(), ViewController::NotFound);
    // A row whose file is gone says why once the next track opens.
    ASSERT_TRUE(QFile::remove(path(kSongs[1])));
    ASSERT_TRUE(openFromLibrary(kSongs[0]));
    EXPECT_EQ(playlist()->model()->index(1, 0).data().toString(), kSongs[1] + ".wav (Missing local file)");
    // It is drawn dimmed, the playable one in the text colour.
    playlist()->clearSelection();
    settle();
    const QImage shot = playlist()->viewport()->grab().toImage();
    const auto darkest = [&](int row) {
        const QRect cell = playlist()->visualRect(playlist()->model()->index(row, 0));
        int gray = 255;
        for (int y = cell.top(); y <= cell.bottom(); ++y)
            for (int x = cell.left(); x <= cell.right(); ++x)
                gray = std::min(gray, qGray(shot.pixel(x, y)));
        return gray;
    };
    EXPECT_NEAR(darkest(1), qGray(playlist()->palette().color(QPalette::Disabled, QPalette::Text).rgb()), 25);
    EXPECT_LT(darkest(0), darkest(1) - 60);
    // The song just played stays picked in the library, on a grey band rather than the desktop's accent.
    ASSERT_EQ(library()->selectionModel()->selectedRows().size(), 1);
    const QRect picked = library()->visualRect(library()->selectionModel()->selectedRows()[0]);
    const QColor band = library()->viewport()->grab().toImage().pixelColor(picked.right() - 3, picked.center().y());
    EXPECT_TRUE(band.red() == band.green() && band.green() == band.blue() && band.red() < 220) << band.name().toStdString();
    EXPECT_TRUE(vc->leftSidebarView()->grab().save(LENTO_ARTIFACTS_DIR "/left-panel.png"));

    // Cancel keeps it, Delete removes it; the last one can't go.
    for (const auto& [reply, left] : {std::pair{"Cancel", 3}, {"Delete", 2}, {"Delete", 1}}) {
        click("Delete current playlist");
        answer(reply);
        EXPECT_EQ(playlistNames().size(), left);
    }
    EXPECT_FALSE(button("Delete current playlist")->isEnabled());
}


TEST_F(LeftPanel, RowsMoveKeepingTheCurrentTrackFilesAndSongsComeInAsCopiesOnceAndASongDropsOntoTheWaveAsItsFile)
{
    // Songs beyond the library's, for playlists longer than it.
    QStringList extra;
    for (int i = 0; i < 4; ++i)
        ASSERT_TRUE(fixtures::writeWav(path(extra.emplace_back(QStringLiteral("Extra %1").arg(i))), fixtures::stereoSines(44100, 22050)));
    const QStringList songs = kSongs + extra.first(1);
    const struct { QList<int> dragged; int dropRow, current; QList<int> order; int currentAfter; } cases[] = {
        {{0, 2}, 4, 1, {1, 3, 0, 2}, 0},
        {{2, 0}, 4, 2, {1, 3, 0, 2}, 3}, // picked in another order
        {{3}, 0, 0, {3, 0, 1, 2}, 1},
        {{1}, 1, 1, {0, 1, 2, 3}, 1}, // onto its own place
        {{1}, 2, 3, {0, 1, 2, 3}, 3}, // just below its own place
        {{0, 1}, 3, 0, {2, 0, 1, 3}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << "rows " << c.dragged.first() << "… to " << c.dropRow);
        fillPlaylist(songs, c.current);
        EXPECT_EQ(dropOnPlaylist(playlistRowsDrag(c.dragged), c.dropRow), Qt::MoveAction);
        QStringList expected;
        for (const int i : c.order)
            expected << songs[i] + ".wav";
        EXPECT_EQ(rows(playlist()), expected);
        EXPECT_EQ(vc->currentTrackIndex(), c.currentAfter);
        // The moved rows stay selected where they landed.
        QList<int> selected, landed;
        for (const QModelIndex& index : playlist()->selectionModel()->selectedRows())
            selected << index.row();
        for (int row = 0; row < c.order.size(); ++row)
            if (c.dragged.contains(c.order[row]))
                landed << row;
        std::sort(selected.begin(), selected.end());
        EXPECT_EQ(selected, landed);
    }
    // Back from another playlist, the track still playing is found again by its identity.
    fillPlaylist(songs, 1);
    auto other = std::make_shared<LTPlaylist>();
    other->setName("Other");
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
    EXPECT_EQ(rows(playlist()).last(), songs[1] + ".wav");

    // Files and library songs are inserted as copies, once each.
    fillPlaylist({kSongs[0], kSongs[1]}, 1);
    // A plain path under the URL type is taken as a file, as some desktops send it.
    auto* data = new QMimeData;
    data->setData("text/uri-list", (file(extra[1]).toString() + "\r\n" + path(extra[2]) + "\r\n# a comment\r\n" + file(extra[3]).toString()).toUtf8());
    // A file manager proposing a move still only gets a copy: its file stays where it is.
    EXPECT_EQ(dropOnPlaylist(data, 1, Qt::ShiftModifier), Qt::CopyAction);
    EXPECT_EQ(rows(playlist()), wavs({kSongs[0], extra[1], extra[2], extra[3], kSongs[1]}));
    EXPECT_EQ(vc->currentTrackIndex(), 4);
    EXPECT_TRUE(QFile::exists(path(extra[1])));
    // A library song comes in under its name.
    const auto songDrag = [&](const QString& song) { return library()->model()->mimeData({library()->model()->index(libraryRow(song), 0)}); };
    EXPECT_EQ(dropOnPlaylist(songDrag(kSongs[2]), 0), Qt::CopyAction);
    const QStringList expected = QStringList{kSongs[2]} + wavs({kSongs[0], extra[1], extra[2], extra[3], kSongs[1]});
    EXPECT_EQ(rows(playlist()), expected);
    EXPECT_EQ(vc->currentTrackIndex(), 5);
    // Songs and files already there, and a web address.
    for (QMimeData* refused : {songDrag(kSongs[2]), filesDrag({extra[2], kSongs[0]}), filesDrag({}, {QUrl("https://example.org/a.mp3")})}) {
        EXPECT_EQ(dropOnPlaylist(refused, 2), Qt::IgnoreAction);
        EXPECT_EQ(rows(playlist()), expected);
    }

    // Other applications and the wave see the song as its file.
    QMimeData* outward = songDrag(kSongs[1]);
    EXPECT_EQ(outward->urls(), QList<QUrl>{file(kSongs[1])});
    WaveView* wave = vc->waveViewContainer()->waveView();
    EXPECT_NE(dragOnto(wave, wave->rect().center(), outward), Qt::IgnoreAction);
    EXPECT_TRUE(waitFor([&] { return title() == kSongs[1] + ".wav"; })) << title().toStdString();
}

} // namespace
