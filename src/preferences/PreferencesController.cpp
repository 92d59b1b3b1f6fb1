#include "preferences/PreferencesController.h"

#include "preferences/ColorTheme.h"
#include "preferences/UserDefaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

const QString PreferencesController::kMusicFoldersKey = QStringLiteral("MusicLibraryFolders");
const QString PreferencesController::kChordMethodKey = QStringLiteral("ChordMethod");
const QString PreferencesController::kRestoreTrackSettingsKey = QStringLiteral("RestoreTrackSettings");

void PreferencesController::initialize(UserDefaults& defaults)
{
    defaults.registerDefaults({{QStringLiteral("Theme"), 1},
                               {QStringLiteral("LoopSelection"), true},
                               {QStringLiteral("DontShowSplash"), false},
                               {QStringLiteral("ExtendedSpeedRange"), false},
                               {kChordMethodKey, QStringLiteral("precise")},
                               {kRestoreTrackSettingsKey, true}});
}

QStringList PreferencesController::themeNames()
{
    return {tr("Mint"), tr("Green"), tr("Coral"), tr("Sky")};
}

PreferencesController::PreferencesController(UserDefaults& defaults, Actions actions, QWidget* parent)
    : PWPrefsWindowController(parent)
    , m_defaults(defaults)
    , m_actions(std::move(actions))
{
}

void PreferencesController::setupToolbar()
{
    addView(makeGeneralPreferenceView(), tr("Preferences"), style()->standardIcon(QStyle::SP_FileDialogDetailedView));
    addView(makeInfoPreferenceView(), tr("Info"), style()->standardIcon(QStyle::SP_MessageBoxInformation));
}

QWidget* PreferencesController::makeGeneralPreferenceView()
{
    auto* view = new QWidget;
    auto* form = new QFormLayout(view);
    form->setContentsMargins(24, 20, 24, 20);

    m_theme = new QComboBox(view);
    m_theme->addItems(themeNames());
    const int theme = ColorTheme::integerForKey(m_defaults, QStringLiteral("Theme"), 1);
    m_theme->setCurrentIndex(theme >= 0 && theme < m_theme->count() ? theme : 1);
    m_theme->setAccessibleName(tr("Theme"));
    connect(m_theme, &QComboBox::activated, this, [this](int index) {
        m_defaults.setObject(index, QStringLiteral("Theme"));
        setColorTheme(m_theme);
    });
    form->addRow(tr("Theme:"), m_theme);

    m_loop = new QCheckBox(tr("Loop the selection"), view);
    m_loop->setChecked(ColorTheme::flagForKey(m_defaults, QStringLiteral("LoopSelection"), true));
    connect(m_loop, &QCheckBox::toggled, this, [this](bool on) {
        m_defaults.setObject(on, QStringLiteral("LoopSelection"));
        setLoopWhenSelection(m_loop);
    });
    form->addRow(QString(), m_loop);

    m_extendedSpeed = new QCheckBox(tr("Extended speed range (20 % to 140 %)"), view);
    m_extendedSpeed->setChecked(ColorTheme::flagForKey(m_defaults, QStringLiteral("ExtendedSpeedRange"), false));
    connect(m_extendedSpeed, &QCheckBox::toggled, this, [this](bool on) {
        m_defaults.setObject(on, QStringLiteral("ExtendedSpeedRange"));
        setExtendedSpeed(m_extendedSpeed);
    });
    form->addRow(QString(), m_extendedSpeed);

    m_restoreTrackSettings = new QCheckBox(tr("Bring back a track's speed, pitch, tone, solo and selection"), view);
    m_restoreTrackSettings->setChecked(m_defaults.boolForKey(kRestoreTrackSettingsKey));
    m_restoreTrackSettings->setToolTip(tr("When a track is opened again, even after it was renamed or moved"));
    connect(m_restoreTrackSettings, &QCheckBox::toggled, this,
            [this](bool on) { m_defaults.setObject(on, kRestoreTrackSettingsKey); });
    form->addRow(QString(), m_restoreTrackSettings);

    // The words are the setting's values, so the command line's --method reads the same.
    m_chordMethod = new QComboBox(view);
    m_chordMethod->addItem(tr("Precise (note transcription)"), QStringLiteral("precise"));
    m_chordMethod->addItem(tr("Basic (earlier versions)"), QStringLiteral("basic"));
    m_chordMethod->setCurrentIndex(std::max(0, m_chordMethod->findData(m_defaults.stringForKey(kChordMethodKey))));
    m_chordMethod->setAccessibleName(tr("Chord estimator"));
    connect(m_chordMethod, &QComboBox::activated, this, [this](int index) {
        m_defaults.setObject(m_chordMethod->itemData(index), kChordMethodKey);
        if (m_actions.chordMethodChanged)
            m_actions.chordMethodChanged();
    });
    form->addRow(tr("Chords:"), m_chordMethod);

    m_folders = new QListWidget(view);
    m_folders->setAccessibleName(tr("Music library folders"));
    m_folders->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_folders->addItems(musicFolders());
    m_folders->setMinimumHeight(90);
    auto* add = new QPushButton(tr("Add…"), view);
    auto* remove = new QPushButton(tr("Remove"), view);
    connect(add, &QPushButton::clicked, this, [this] {
        auto* dialog = new QFileDialog(this, tr("Add a Music Folder"));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
        dialog->setWindowModality(Qt::WindowModal);
        connect(dialog, &QFileDialog::fileSelected, this, &PreferencesController::addMusicFolder);
        dialog->open();
    });
    connect(remove, &QPushButton::clicked, this, &PreferencesController::removeSelectedMusicFolders);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove);
    buttons->addStretch(1);
    auto* library = new QVBoxLayout;
    library->addWidget(m_folders);
    library->addLayout(buttons);
    form->addRow(tr("Music library:"), library);
    return view;
}

QWidget* PreferencesController::makeInfoPreferenceView()
{
    auto* view = new QWidget;
    auto* layout = new QVBoxLayout(view);
    layout->setContentsMargins(24, 20, 24, 20);
    auto* text = new QLabel(m_actions.infoText ? m_actions.infoText() : QString(), view);
    text->setTextFormat(Qt::RichText);
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextBrowserInteraction);
    text->setOpenExternalLinks(true);
    text->setMinimumWidth(460);
    layout->addWidget(text);
    return view;
}

void PreferencesController::setColorTheme(QObject*)
{
    if (m_actions.setColorTheme)
        m_actions.setColorTheme();
}

void PreferencesController::setLoopWhenSelection(QObject*)
{
    if (m_actions.setLoopWhenSelection)
        m_actions.setLoopWhenSelection();
}

void PreferencesController::setExtendedSpeed(QObject*)
{
    if (m_actions.setExtendedSpeedRange)
        m_actions.setExtendedSpeedRange(m_extendedSpeed && m_extendedSpeed->isChecked());
}

QStringList PreferencesController::musicFolders() const
{
    return m_defaults.objectForKey(kMusicFoldersKey).toStringList();
}

void PreferencesController::addMusicFolder(const QString& folder)
{
    QStringList folders = musicFolders();
    if (folder.isEmpty() || folders.contains(folder))
        return;
    folders << folder;
    storeMusicFolders(folders);
}

void PreferencesController::removeSelectedMusicFolders()
{
    QStringList folders = musicFolders();
    for (QListWidgetItem* item : m_folders->selectedItems())
        folders.removeAll(item->text());
    storeMusicFolders(folders);
}

void PreferencesController::storeMusicFolders(const QStringList& folders)
{
    m_defaults.setObject(folders, kMusicFoldersKey);
    m_folders->clear();
    m_folders->addItems(folders);
    if (m_actions.musicFoldersChanged)
        m_actions.musicFoldersChanged(folders);
}
