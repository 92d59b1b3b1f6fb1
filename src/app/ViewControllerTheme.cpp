// The colour theme over the window's controls, and the speed slider's two ranges.
#include "app/ViewController.h"

#include "app/MainView.h"
#include "app/SidebarIcons.h"
#include "app/WavePane.h"
#include "controls/WDButtonCell.h"
#include "controls/WDSlider.h"
#include "library/FileBookmark.h"
#include "library/LTMusicLibraryPlaylistManager.h"
#include "library/MusicLibraryIndex.h"
#include "loops/SelectionView.h"
#include "loops/WaveViewContainer.h"
#include "preferences/UserDefaults.h"

#include <QLabel>
#include <QStandardPaths>
#include <QPushButton>

namespace {

void setBackground(QWidget* widget, const QColor& color)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Window, color);
    widget->setPalette(palette);
}

// Flat rounded toggles: the wave colour marks the ones that are on.
QString toggleStyle(const ColorTheme& c)
{
    const QColor border = c.icon.lighter(400);
    return QStringLiteral("QPushButton { color: %1; background: transparent; border: 1px solid %2;"
                          " border-radius: 4px; padding: 2px 10px; min-height: 18px; }"
                          "QPushButton:checked { color: %3; background: %4; border-color: %4; }")
        .arg(c.icon.name(), border.name(), c.background.name(), c.wave.darker(115).name());
}

} // namespace

void ViewController::setColorTheme()
{
    m_colors = ColorTheme::colorTheme(m_defaults);
    const ColorTheme& c = m_colors;
    const QColor darkGray = QColor::fromRgbF(1.0f / 3, 1.0f / 3, 1.0f / 3);
    const QColor gray = QColor::fromRgbF(0.5f, 0.5f, 0.5f);

    for (WDSlider* slider : {m_speedSlider, m_zoomSlider}) {
        slider->setBackColor(darkGray);
        slider->setBarColor(c.key);
        slider->setIconColor(c.icon);
    }
    for (WDSlider* slider : {m_pitchCoarseSlider, m_pitchFineSlider, m_toneSlider, m_volumeSlider}) {
        slider->setBackColor(c.background);
        slider->setBarColor(c.wave);
        slider->update();
    }
    m_playButton->setBackColor(c.key);
    m_playButton->setKeyColor(c.icon);
    m_returnButton->setKeyColor(c.icon);
    m_returnButton->setBackColor(c.key);
    for (QLabel* label : {m_timeLabel, m_durationLabel, m_speedLabel, m_zoomLabel})
        label->setStyleSheet(QStringLiteral("color: %1;").arg(gray.name()));
    // In the wave's colour, which every theme sets off from its background.
    m_outputStatusLabel->setStyleSheet(QStringLiteral("color: %1;").arg(c.wave.name()));
    m_chordLabel->setStyleSheet(QStringLiteral("color: %1;").arg(QColor::fromRgbF(0.96f, 0.96f, 0.96f).name()));

    m_view->setBackgroundColor(c.background);
    m_wavePane->setBackgroundColor(c.background);
    if (m_waveViewContainer)
        m_waveViewContainer->setColorTheme();
    setBackground(m_rightDrawer, c.key);
    if (m_leftSidebarView)
        setBackground(m_leftSidebarView, c.key);

    for (QLabel* label : m_drawerTitles)
        label->setStyleSheet(QStringLiteral("color: %1;").arg(c.icon.name()));
    for (QLabel* label : {m_toneLabel, m_pitchLabel, m_volumeLabel})
        label->setStyleSheet(QStringLiteral("color: %1;").arg(c.icon.lighter(250).name()));
    for (QPushButton* toggle : {m_toneButton, m_pitchButton, m_soloLeft, m_soloRight, m_cancelCentre, m_centreOnly})
        toggle->setStyleSheet(toggleStyle(c));

    const QString sideStyle = QStringLiteral("QPushButton { border: none; background: transparent; }");
    m_leftSidebarButton->setIcon(SidebarIcons::icon(QStringLiteral("sidebar-show-symbolic"), QStringLiteral(":/lento/icons/sidebar-left.svg"), 32, c.key,
                                                    m_view->devicePixelRatioF()));
    m_sidebarButton->setIcon(SidebarIcons::icon(QStringLiteral("sidebar-show-right-symbolic"), QStringLiteral(":/lento/icons/sidebar-right.svg"), 32, c.key,
                                                m_view->devicePixelRatioF()));
    for (QPushButton* b : {m_leftSidebarButton, m_sidebarButton}) {
        b->setIconSize(QSize(32, 32));
        b->setStyleSheet(sideStyle);
    }
}

void ViewController::setLoopWhenSelection()
{
    if (!m_waveViewContainer->selectionView()->hasSelection())
        return;
    const bool wasPlaying = m_player->isPlaying();
    m_player->stop();
    setLoop(true);
    if (wasPlaying)
        m_player->playPause();
}

void ViewController::setMusicLibraryFolders(const QStringList& folders)
{
    // The Music folder always, then the ones chosen in the preferences.
    QStringList all{QStandardPaths::writableLocation(QStandardPaths::MusicLocation)};
    for (const QString& folder : folders)
        if (!all.contains(folder))
            all << folder;
    MusicLibraryIndex* library = m_libraryPlaylistManager->musicLibrary();
    library->setFolders(all);
    FileBookmark::setSearchFolders(all);
    library->rescan();
}

void ViewController::setExtendedSpeedRange(bool extended)
{
    // The range changes under the slider without touching `speed` or the engine.
    const bool saved = m_bindingSpeed;
    m_bindingSpeed = true;
    if (extended) {
        m_speedSlider->setDoubleRange(0.2, 1.4);
        m_speedSlider->setNumberOfTickMarks(7);
    } else {
        m_speedSlider->setDoubleRange(0.5, 1.25);
        m_speedSlider->setNumberOfTickMarks(5);
    }
    m_bindingSpeed = saved;
    emit speedRangeChanged();
}
