// The left panel: the Music library's songs above, the selected playlist below, the playlist
// commands with their dialogs, and playing and stepping through playlist rows.
#include "app/ViewController.h"

#include "app/LibraryTableModel.h"
#include "app/PlaylistTableModel.h"
#include "app/PlaylistTableView.h"
#include "audio/AudioEngine.h"
#include "controls/LTGraySelectionRowView.h"
#include "controls/SymbolIcons.h"
#include "library/LTMusicLibraryPlaylistManager.h"
#include "platform/MainQueue.h"
#include "preferences/UserDefaults.h"

#include <QComboBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QTableView>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace {

QTableView* makeTrackTable(QTableView* table, QAbstractItemModel* model, const QString& accessibleName)
{
    table->setModel(model);
    table->setAccessibleName(accessibleName);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setItemDelegate(new LTGraySelectionRowView(table));
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setShowGrid(false);
    table->setWordWrap(false);
    table->setTextElideMode(Qt::ElideRight);
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(20);
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setMinimumSectionSize(90);
    // The title takes what the artist leaves in a panel of one fixed width.
    table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    table->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Interactive);
    table->horizontalHeader()->resizeSection(1, 110);
    QPalette palette = table->palette();
    palette.setColor(QPalette::Base, QColor::fromRgbF(0.92, 0.92, 0.92));
    table->setPalette(palette);
    return table;
}

QToolButton* makeImageButton(SymbolIcons::Symbol symbol, double pointSize, const QString& accessibleName,
                             const QString& toolTip, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(SymbolIcons::symbolIcon(symbol, pointSize));
    button->setIconSize(QSize(int(pointSize), int(pointSize)));
    button->setFixedSize(20, 20);
    button->setAutoRaise(true);
    button->setAccessibleName(accessibleName);
    button->setToolTip(toolTip);
    return button;
}

int selectedRowOf(QTableView* table)
{
    const QModelIndexList rows = table->selectionModel() ? table->selectionModel()->selectedRows() : QModelIndexList();
    if (!rows.isEmpty())
        return rows.first().row();
    return table->currentIndex().isValid() && table->selectionModel()->isSelected(table->currentIndex())
               ? table->currentIndex().row()
               : -1;
}

// Asks for a playlist's name in a window-modal dialog and hands the trimmed text on.
void askForName(QWidget* parent, const QString& title, const QString& label, const QString& okText,
                const QString& initial, std::function<void(const QString&)> done)
{
    auto* dialog = new QInputDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setObjectName(QStringLiteral("playlistNameDialog"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setWindowTitle(title);
    dialog->setInputMode(QInputDialog::TextInput);
    dialog->setLabelText(label);
    dialog->setOkButtonText(okText);
    dialog->setCancelButtonText(QStringLiteral("Cancel"));
    dialog->setTextValue(initial);
    if (auto* field = dialog->findChild<QLineEdit*>()) {
        field->setPlaceholderText(QStringLiteral("Playlist name"));
        field->setMinimumWidth(240);
    }
    QObject::connect(dialog, &QInputDialog::textValueSelected, parent,
                     [done](const QString& text) { done(text.trimmed()); });
    dialog->open();
}

} // namespace

void ViewController::buildLeftSidebarContents(QWidget* panel)
{
    m_libraryModel = new LibraryTableModel(m_libraryPlaylistManager.get(), this);
    m_playlistModel = new PlaylistTableModel(m_libraryPlaylistManager.get(), this);

    auto* outer = new QVBoxLayout(panel);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* split = new QSplitter(Qt::Vertical, panel);
    split->setObjectName(QStringLiteral("leftPanelSplitView"));
    split->setHandleWidth(1);
    split->setChildrenCollapsible(false);
    outer->addWidget(split);

    // Library pane.
    auto* top = new QWidget(split);
    auto* topLayout = new QVBoxLayout(top);
    topLayout->setContentsMargins(8, 8, 8, 8);
    topLayout->setSpacing(6);
    auto* header = new QHBoxLayout;
    auto* libraryLabel = new QLabel(QStringLiteral("Music Library"), top);
    QFont bold = libraryLabel->font();
    bold.setBold(true);
    libraryLabel->setFont(bold);
    header->addWidget(libraryLabel);
    header->addSpacing(8);
    m_librarySourcePopupButton = new QComboBox(top);
    m_librarySourcePopupButton->setAccessibleName(QStringLiteral("Music library source"));
    m_librarySourcePopupButton->setMinimumWidth(140);
    m_librarySourcePopupButton->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    header->addWidget(m_librarySourcePopupButton, 1);
    topLayout->addLayout(header);
    m_librarySearchField = new QLineEdit(top);
    m_librarySearchField->setAccessibleName(QStringLiteral("Search music library"));
    m_librarySearchField->setPlaceholderText(tr("Search"));
    m_librarySearchField->setClearButtonEnabled(true);
    topLayout->addWidget(m_librarySearchField);
    m_musicLibraryTableView = makeTrackTable(new QTableView(top), m_libraryModel, QStringLiteral("Music library tracks"));
    m_musicLibraryTableView->setSelectionMode(QAbstractItemView::SingleSelection);
    m_musicLibraryTableView->setDragDropMode(QAbstractItemView::DragOnly);
    m_musicLibraryTableView->setDefaultDropAction(Qt::CopyAction);
    m_musicLibraryTableView->setMinimumHeight(160);
    topLayout->addWidget(m_musicLibraryTableView, 1);
    m_libraryScanLabel = new QLabel(top);
    m_libraryScanLabel->setObjectName(QStringLiteral("libraryScanLabel"));
    m_libraryScanLabel->setStyleSheet(QStringLiteral("color: #6a6a6a;"));
    m_libraryScanLabel->hide();
    topLayout->addWidget(m_libraryScanLabel);

    // Playlist pane.
    auto* bottom = new QWidget(split);
    auto* bottomLayout = new QVBoxLayout(bottom);
    bottomLayout->setContentsMargins(8, 8, 8, 8);
    bottomLayout->setSpacing(6);
    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    auto* playlistLabel = new QLabel(QStringLiteral("Playlist"), bottom);
    playlistLabel->setFont(bold);
    row->addWidget(playlistLabel);
    auto* newButton = new QPushButton(QStringLiteral("New"), bottom);
    // The panel has one width; a desktop's wide default button would push it past it.
    newButton->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    newButton->setFixedWidth(newButton->fontMetrics().horizontalAdvance(newButton->text()) + 24);
    newButton->setAccessibleName(QStringLiteral("Create new playlist"));
    row->addWidget(newButton);
    m_playlistSelectorPopup = new QComboBox(bottom);
    m_playlistSelectorPopup->setAccessibleName(QStringLiteral("Select playlist"));
    m_playlistSelectorPopup->setMaximumWidth(120);
    m_playlistSelectorPopup->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_playlistSelectorPopup->setMinimumContentsLength(4);
    row->addWidget(m_playlistSelectorPopup);
    auto* renameButton = makeImageButton(SymbolIcons::Symbol::Rename, 14, QStringLiteral("Rename current playlist"),
                                         QStringLiteral("Rename current playlist"), bottom);
    row->addWidget(renameButton);
    auto* deleteButton = makeImageButton(SymbolIcons::Symbol::Trash, 14, QStringLiteral("Delete current playlist"),
                                         QStringLiteral("Delete current playlist"), bottom);
    m_deletePlaylistButton = deleteButton;
    row->addWidget(deleteButton);
    row->addStretch(1);
    auto* addSelection = makeImageButton(SymbolIcons::Symbol::PlusCircle, 16, QStringLiteral("Add selected tracks to playlist"),
                                         QStringLiteral("Add selected library track(s) to playlist"), bottom);
    m_addSelectionButton = addSelection;
    row->addWidget(addSelection);
    auto* removeButton = makeImageButton(SymbolIcons::Symbol::MinusCircle, 16, QStringLiteral("Remove selected track from playlist"),
                                         QStringLiteral("Remove selected track from playlist"), bottom);
    row->addWidget(removeButton);
    auto* addCurrent = makeImageButton(SymbolIcons::Symbol::ArrowDownLeftCircle, 16, QStringLiteral("Add current file to playlist"),
                                       QStringLiteral("Add currently open file to playlist"), bottom);
    row->addWidget(addCurrent);
    bottomLayout->addLayout(row);
    m_playlistTracksTableView =
        makeTrackTable(new PlaylistTableView(bottom), m_playlistModel, QStringLiteral("Playlist tracks"));
    m_playlistModel->validateDrop = [this](const QMimeData* data, bool fromPlaylist) {
        return validatePlaylistDrop(data, fromPlaylist);
    };
    m_playlistModel->acceptDrop = [this](const QMimeData* data, int row, bool fromPlaylist) {
        return acceptPlaylistDrop(data, row, fromPlaylist);
    };
    m_playlistTracksTableView->setMinimumHeight(120);
    bottomLayout->addWidget(m_playlistTracksTableView, 1);

    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 1);
    m_leftPanelSplitView = split;
    m_leftPanelTopRatioInitialized = false;
    connect(split, &QSplitter::splitterMoved, this, [this] {
        if (!m_applyingLeftPanelState)
            persistLeftPanelTopRatio();
    });
    // The divider needs the panel's height, which only the first layout gives.
    QPointer<ViewController> self(this);
    MainQueue::post([self] {
        if (self)
            self->restoreLeftPanelTopSplitRatio();
    });

    connect(newButton, &QPushButton::clicked, this, [this] { createNewPlaylist(nullptr); });
    connect(renameButton, &QToolButton::clicked, this, [this] { renameCurrentPlaylist(nullptr); });
    connect(deleteButton, &QToolButton::clicked, this, [this] { deleteCurrentPlaylist(nullptr); });
    connect(addSelection, &QToolButton::clicked, this, [this] { addSelectionToPlaylist(nullptr); });
    connect(removeButton, &QToolButton::clicked, this, [this] { removeSelectedTrackFromPlaylist(nullptr); });
    connect(addCurrent, &QToolButton::clicked, this, [this] { addCurrentFileToPlaylist(nullptr); });
    connect(m_playlistSelectorPopup, &QComboBox::activated, this, [this] { switchPlaylist(nullptr); });
    connect(m_librarySourcePopupButton, &QComboBox::activated, this, [this] { selectMusicSource(nullptr); });
    connect(m_librarySearchField, &QLineEdit::textChanged, this, [this] { onLibrarySearchChanged(nullptr); });
    connect(m_musicLibraryTableView, &QTableView::doubleClicked, this, [this] { playSelectionFromMusicLibrary(nullptr); });
    connect(m_playlistTracksTableView, &QTableView::doubleClicked, this, [this] { onPlaylistTrackDoubleClick(nullptr); });
    connect(this, &ViewController::openFinished, this, &ViewController::playlistOpenDidEnd);

    MusicLibraryIndex* index = m_libraryPlaylistManager->musicLibrary();
    connect(index, &MusicLibraryIndex::libraryChanged, this, [this] { reloadMusicLibrary(); });
    connect(index, &MusicLibraryIndex::scanProgress, this, [this](int done, int total) {
        m_libraryScanLabel->setText(total > 0 ? tr("Scanning the Music folder… %1 of %2").arg(done).arg(total)
                                              : tr("Scanning the Music folder…"));
        m_libraryScanLabel->show();
    });
    connect(index, &MusicLibraryIndex::scanFinished, this, [this] { m_libraryScanLabel->hide(); });
}

void ViewController::loadPlaylists()
{
    m_libraryPlaylistManager->loadPlaylists();
}

void ViewController::reloadPlaylistUI()
{
    if (!m_libraryPlaylistManager)
        return;
    if (m_playlistModel)
        m_playlistModel->reload();
    reloadPlaylistSelector();
    m_libraryPlaylistManager->savePlaylists();
}

void ViewController::reloadPlaylistSelector()
{
    if (!m_playlistSelectorPopup)
        return;
    const QList<LTPlaylistPtr> playlists = m_libraryPlaylistManager->allPlaylists();
    const QSignalBlocker blocker(m_playlistSelectorPopup);
    m_playlistSelectorPopup->clear();
    for (const LTPlaylistPtr& playlist : playlists)
        m_playlistSelectorPopup->addItem(playlist->name().isEmpty() ? QStringLiteral("Playlist") : playlist->name());
    const qint64 current = m_libraryPlaylistManager->currentPlaylistIndex();
    if (current >= 0 && current < playlists.size())
        m_playlistSelectorPopup->setCurrentIndex(int(current));
    m_deletePlaylistButton->setEnabled(playlists.size() > 1);
}

void ViewController::reloadMusicLibrary()
{
    if (!m_libraryPlaylistManager)
        return;
    m_libraryPlaylistManager->reloadMusicLibrary();
    if (m_librarySourcePopupButton) {
        const QSignalBlocker blocker(m_librarySourcePopupButton);
        m_librarySourcePopupButton->clear();
        m_librarySourcePopupButton->addItems(m_libraryPlaylistManager->librarySourceTitles());
        const qint64 selected = m_libraryPlaylistManager->selectedMusicSourceIndex();
        m_librarySourcePopupButton->setCurrentIndex(
            selected >= 0 && selected < m_librarySourcePopupButton->count() ? int(selected) : 0);
    }
    // A rescan while a search is typed keeps the search.
    if (m_librarySearchField && !m_librarySearchField->text().isEmpty())
        m_libraryPlaylistManager->applyMusicFilterWithQuery(m_librarySearchField->text());
    if (m_libraryModel)
        m_libraryModel->reload();
}

void ViewController::selectMusicSource(QObject*)
{
    m_libraryPlaylistManager->selectMusicSourceAtIndex(m_librarySourcePopupButton->currentIndex());
    applyMusicFilter();
}

void ViewController::onLibrarySearchChanged(QObject*)
{
    applyMusicFilter();
}

void ViewController::applyMusicFilter()
{
    m_libraryPlaylistManager->applyMusicFilterWithQuery(m_librarySearchField ? m_librarySearchField->text()
                                                                             : QStringLiteral(""));
    m_libraryModel->reload();
}

void ViewController::createNewPlaylist(QObject*)
{
    askForName(m_leftSidebarView->window(), QStringLiteral("New Playlist"), QStringLiteral("Enter a name for the new playlist:"),
               QStringLiteral("Create"), QString(), [this](const QString& name) {
                   auto playlist = std::make_shared<LTPlaylist>();
                   playlist->setName(name.isEmpty() ? QStringLiteral("Playlist") : name);
                   m_libraryPlaylistManager->addPlaylist(playlist);
                   m_libraryPlaylistManager->selectPlaylistAtIndex(m_libraryPlaylistManager->allPlaylists().size() - 1);
                   m_currentTrackIndex = NotFound;
                   reloadPlaylistUI();
               });
}

void ViewController::renameCurrentPlaylist(QObject*)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist)
        return;
    askForName(m_leftSidebarView->window(), QStringLiteral("Rename Playlist"), QStringLiteral("Enter a new name for the playlist:"),
               QStringLiteral("Rename"), playlist->name(), [this, playlist](const QString& name) {
                   // A blank name keeps the old one.
                   if (name.isEmpty())
                       return;
                   playlist->setName(name);
                   reloadPlaylistUI();
               });
}

void ViewController::deleteCurrentPlaylist(QObject*)
{
    if (m_libraryPlaylistManager->allPlaylists().size() < 2)
        return;
    const qint64 index = m_libraryPlaylistManager->currentPlaylistIndex();
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    const QString name = playlist && !playlist->name().isEmpty() ? playlist->name() : QStringLiteral("Playlist");
    auto* alert = new QMessageBox(m_leftSidebarView->window());
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setObjectName(QStringLiteral("deletePlaylistAlert"));
    alert->setWindowModality(Qt::WindowModal);
    alert->setIcon(QMessageBox::Warning);
    alert->setText(QStringLiteral("Delete Playlist"));
    alert->setInformativeText(QStringLiteral("Are you sure you want to delete \"%1\"?").arg(name));
    QPushButton* remove = alert->addButton(QStringLiteral("Delete"), QMessageBox::AcceptRole);
    alert->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    connect(alert, &QMessageBox::buttonClicked, this, [this, remove, index](QAbstractButton* clicked) {
        if (clicked != remove)
            return;
        m_libraryPlaylistManager->removePlaylistAtIndex(index);
        m_currentTrackIndex = NotFound;
        reloadPlaylistUI();
    });
    alert->open();
}

void ViewController::switchPlaylist(QObject*)
{
    const int index = m_playlistSelectorPopup->currentIndex();
    if (index >= 0)
        m_libraryPlaylistManager->selectPlaylistAtIndex(index);
    m_currentTrackIndex = NotFound;
    m_playlistModel->reload();
    m_libraryPlaylistManager->savePlaylists();
}

void ViewController::addSelectionToPlaylist(QObject*)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist)
        return;
    const int row = selectedRowOf(m_musicLibraryTableView);
    const auto& entries = m_libraryPlaylistManager->musicFilteredEntries();
    if (row < 0 || row >= entries.size())
        return;
    const LTPlaylistItemPtr item = LTMusicLibraryPlaylistManager::playlistItemFromMusicEntry(*entries[row]);
    if (item && !m_libraryPlaylistManager->playlistContainsEquivalentItem(playlist, item))
        playlist->items().append(item);
    reloadPlaylistUI();
}

void ViewController::addCurrentFileToPlaylist(QObject*)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    const QUrl url = m_player ? m_player->fileURL() : QUrl();
    if (!playlist || url.isEmpty())
        return;
    const LTPlaylistItemPtr item = LTMusicLibraryPlaylistManager::playlistItemFromFileURL(url);
    if (!item || m_libraryPlaylistManager->playlistContainsEquivalentItem(playlist, item))
        return;
    playlist->items().append(item);
    reloadPlaylistUI();
    const int last = int(playlist->items().size()) - 1;
    m_playlistTracksTableView->selectRow(last);
    m_playlistTracksTableView->scrollTo(m_playlistModel->index(last, 0));
}

void ViewController::removeSelectedTrackFromPlaylist(QObject*)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist)
        return;
    const int row = selectedRowOf(m_playlistTracksTableView);
    if (row < 0 || row >= playlist->items().size())
        return;
    const LTPlaylistItemPtr removed = playlist->items().takeAt(row);
    const bool wasCurrent = !m_currentPlayingItemUUID.isEmpty() ? m_currentPlayingItemUUID == removed->uuid()
                                                                : m_currentTrackIndex == row;
    if (wasCurrent) {
        m_currentTrackIndex = NotFound;
        m_currentPlayingItemUUID.clear();
    } else if (m_currentTrackIndex != NotFound && row < m_currentTrackIndex) {
        --m_currentTrackIndex;
    }
    reloadPlaylistUI();
    if (!playlist->items().isEmpty())
        m_playlistTracksTableView->selectRow(std::min(row, int(playlist->items().size()) - 1));
}

void ViewController::playSelectionFromMusicLibrary(QObject*)
{
    QModelIndex clicked = m_musicLibraryTableView->currentIndex();
    const int row = clicked.isValid() ? clicked.row() : selectedRowOf(m_musicLibraryTableView);
    const auto& entries = m_libraryPlaylistManager->musicFilteredEntries();
    if (row < 0 || row >= entries.size())
        return;
    const QUrl url = m_libraryPlaylistManager->resolveLocationForMusicEntry(entries[row], true);
    if (url.isEmpty()) {
        // The row now tells why it can't be played.
        m_libraryModel->reload();
        return;
    }
    m_pendingPlaylistURL = QUrl();
    m_pendingLibraryURL = url;
    m_pendingLibraryPlay = true;
    openAudioFromURL(url);
}

void ViewController::onPlaylistTrackDoubleClick(QObject*)
{
    const QModelIndex clicked = m_playlistTracksTableView->currentIndex();
    if (clicked.isValid())
        playPlaylistTrackAtIndex(clicked.row(), true);
}

void ViewController::playPlaylistTrackAtIndex(int64_t row, bool autoplay)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist || row < 0 || row >= playlist->items().size())
        return;
    const LTPlaylistItemPtr item = playlist->items()[row];
    const QUrl url = m_libraryPlaylistManager->resolvedURLForPlaylistItem(item, true);
    if (url.isEmpty()) {
        item->setUnavailable(true);
        item->setUnavailableReason(QStringLiteral("Cannot resolve file"));
        reloadPlaylistUI();
        return;
    }
    item->setUnavailable(false);
    item->setUnavailableReason(QStringLiteral(""));
    // The file is read off the main thread; the row becomes current when the open succeeds.
    m_pendingLibraryPlay = false;
    m_pendingPlaylistURL = url;
    m_pendingPlaylistItemUUID = item->uuid();
    m_pendingPlaylistRow = row;
    m_pendingAutoplay = autoplay;
    openAudioFromURL(url);
}

void ViewController::playlistOpenDidEnd(const QUrl& url, bool loaded)
{
    if (m_pendingLibraryPlay && url == m_pendingLibraryURL) {
        m_pendingLibraryPlay = false;
        if (loaded)
            play(nullptr);
        return;
    }
    if (m_pendingPlaylistURL.isEmpty() || url != m_pendingPlaylistURL)
        return;
    m_pendingPlaylistURL = QUrl();
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    LTPlaylistItemPtr item;
    int64_t row = NotFound;
    if (playlist) {
        for (int i = 0; i < playlist->items().size(); ++i) {
            if (playlist->items()[i]->uuid() == m_pendingPlaylistItemUUID) {
                item = playlist->items()[i];
                row = i;
                break;
            }
        }
    }
    if (!loaded) {
        if (item) {
            item->setUnavailable(true);
            item->setUnavailableReason(QStringLiteral("Cannot open audio file"));
        }
        reloadPlaylistUI();
        return;
    }
    // The load itself cleared these, so they are set after it.
    m_currentTrackIndex = item ? row : NotFound;
    m_currentPlayingItemUUID = item ? item->uuid() : QString();
    if (m_pendingAutoplay)
        play(nullptr);
    m_libraryPlaylistManager->savePlaylists();
}

bool ViewController::canGoToNextTrack() const
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    return playlist && !playlist->items().isEmpty();
}

void ViewController::nextTrack(QObject*)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist || playlist->items().isEmpty())
        return;
    int64_t row = m_currentTrackIndex == NotFound ? 0 : m_currentTrackIndex + 1;
    if (row >= playlist->items().size())
        row = 0;
    playPlaylistTrackAtIndex(row, true);
}

void ViewController::previousTrack(QObject*)
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager->selectedPlaylist();
    if (!playlist || playlist->items().isEmpty())
        return;
    int64_t row = 0;
    if (m_currentTrackIndex != NotFound)
        row = m_currentTrackIndex < 1 ? playlist->items().size() - 1 : m_currentTrackIndex - 1;
    playPlaylistTrackAtIndex(row, true);
}

void ViewController::refreshSelectedPlaylistAvailability()
{
    const LTPlaylistPtr playlist = m_libraryPlaylistManager ? m_libraryPlaylistManager->selectedPlaylist() : nullptr;
    if (!playlist)
        return;
    for (const LTPlaylistItemPtr& item : playlist->items()) {
        // A library song known only by its ID is looked up when it is played.
        if (item->sourceType() == 1 && item->bookmarkData().isEmpty() && item->fileURLString().isEmpty()
            && !item->musicPersistentID().isEmpty()) {
            item->setUnavailable(false);
            item->setUnavailableReason(QStringLiteral(""));
            continue;
        }
        const QUrl url = m_libraryPlaylistManager->resolvedURLForPlaylistItem(item, false);
        if (!url.isEmpty() && QFileInfo(url.toLocalFile()).isFile()) {
            item->setUnavailable(false);
            item->setUnavailableReason(QStringLiteral(""));
        } else {
            item->setUnavailable(true);
            item->setUnavailableReason(QStringLiteral("Missing local file"));
        }
    }
}

double ViewController::clampedLeftPanelTopRatio(double ratio)
{
    return std::clamp(ratio, 0.2, 0.8);
}

void ViewController::restoreLeftPanelTopSplitRatio()
{
    if (!m_leftPanelSplitView || m_leftPanelSplitView->count() < 2)
        return;
    const QVariant stored = m_defaults.objectForKey(QStringLiteral("LeftMusicPanelTopRatio"));
    double ratio = stored.isValid() ? stored.toDouble() : 0.0;
    // About one half is what a never-arranged divider reads; it counts as unset.
    if (ratio <= 0.0 || std::abs(ratio - 0.5) < 0.001)
        ratio = 0.66;
    ratio = clampedLeftPanelTopRatio(ratio);
    const int height = m_leftPanelSplitView->height();
    if (height <= 0)
        return;
    const bool saved = m_applyingLeftPanelState;
    m_applyingLeftPanelState = true;
    const int handle = m_leftPanelSplitView->handleWidth();
    const int top = int(std::floor(height * ratio));
    m_leftPanelSplitView->setSizes({top, std::max(0, height - top - handle)});
    m_applyingLeftPanelState = saved;
    m_leftPanelTopRatioInitialized = true;
    m_defaults.setObject(ratio, QStringLiteral("LeftMusicPanelTopRatio"));
}

void ViewController::persistLeftPanelTopRatio()
{
    if (!m_leftPanelTopRatioInitialized || !m_leftPanelSplitView || m_leftPanelSplitView->count() < 2
        || m_leftPanelSplitView->height() <= 0)
        return;
    const double ratio = double(m_leftPanelSplitView->sizes().value(0)) / m_leftPanelSplitView->height();
    m_defaults.setObject(clampedLeftPanelTopRatio(ratio), QStringLiteral("LeftMusicPanelTopRatio"));
}
