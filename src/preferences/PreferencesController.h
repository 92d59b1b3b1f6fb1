#pragma once

#include "preferences/PWPrefsWindowController.h"

#include <functional>

class QCheckBox;
class QComboBox;
class QListWidget;
class UserDefaults;

// The preferences window: a "Preferences" pane (theme, looping the selection, the extended speed
// range, the chord estimator, the music library's folders) and an "Info" pane. The controls write their settings
// themselves; the actions tell the main window.
class PreferencesController : public PWPrefsWindowController {
    Q_OBJECT
public:
    // What the window tells the rest of the program.
    struct Actions {
        std::function<void()> setColorTheme;
        std::function<void()> setLoopWhenSelection;
        std::function<void(bool)> setExtendedSpeedRange;
        std::function<void(const QStringList&)> musicFoldersChanged;
        std::function<void()> chordMethodChanged;
        std::function<QString()> infoText;
    };
    static const QString kMusicFoldersKey;
    static const QString kChordMethodKey;
    static const QString kRestoreTrackSettingsKey;

    // Registers the defaults of the keys the panes set.
    static void initialize(UserDefaults& defaults);
    // The names of the four themes, by their value of "Theme".
    static QStringList themeNames();

    PreferencesController(UserDefaults& defaults, Actions actions, QWidget* parent = nullptr);

    QComboBox* themeControl() const { return m_theme; }
    QCheckBox* loopControl() const { return m_loop; }
    QCheckBox* extendedSpeedControl() const { return m_extendedSpeed; }
    QComboBox* chordMethodControl() const { return m_chordMethod; }
    QCheckBox* restoreTrackSettingsControl() const { return m_restoreTrackSettings; }
    QListWidget* folderList() const { return m_folders; }

    void setColorTheme(QObject* sender = nullptr);
    void setLoopWhenSelection(QObject* sender = nullptr);
    void setExtendedSpeed(QObject* sender = nullptr);
    // The folders the library reads besides the Music folder.
    QStringList musicFolders() const;
    void addMusicFolder(const QString& folder);
    void removeSelectedMusicFolders();

protected:
    void setupToolbar() override;

private:
    QWidget* makeGeneralPreferenceView();
    QWidget* makeInfoPreferenceView();
    void storeMusicFolders(const QStringList& folders);

    UserDefaults& m_defaults;
    Actions m_actions;
    QComboBox* m_theme = nullptr;
    QCheckBox* m_loop = nullptr;
    QCheckBox* m_extendedSpeed = nullptr;
    QCheckBox* m_restoreTrackSettings = nullptr;
    QComboBox* m_chordMethod = nullptr;
    QListWidget* m_folders = nullptr;
};
