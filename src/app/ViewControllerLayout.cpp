// The window's layout: the split view with the left panel, the wave pane and the Tone & Pitch
// drawer; the bottom strip; the side panels' menu items and the split view's rules.
#include "app/ViewController.h"

#include "app/PracticePanel.h"

#include "app/BottomStripLayout.h"
#include "app/ControlFormats.h"
#include "app/MainView.h"
#include "app/OpenProgressBar.h"
#include "app/SidebarIcons.h"
#include "app/SplitView.h"
#include "app/TrackOpener.h"
#include "app/WavePane.h"
#include "controls/WDButtonCell.h"
#include "controls/WDSlider.h"
#include "loops/WaveViewContainer.h"
#include "platform/MainQueue.h"
#include "preferences/UserDefaults.h"

#include <QFontDatabase>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <cmath>
#include <numeric>

namespace {

const QString kShowSidebarAction = QStringLiteral("showSidebar");
const QString kTagProperty = QStringLiteral("tag");

QFont fixedFont(double pixelSize)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(int(pixelSize));
    return font;
}

QLabel* makeLabel(QWidget* parent, const QFont& font, Qt::Alignment alignment = Qt::AlignCenter)
{
    auto* label = new QLabel(parent);
    label->setFont(font);
    label->setAlignment(alignment);
    return label;
}

QPushButton* makeToggle(const QString& title, QWidget* parent)
{
    auto* button = new QPushButton(title, parent);
    button->setCheckable(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

// Tells assistive technology and the tooltip what the button switches and whether it is on.
void describeToggle(QPushButton* button, const QString& name, const QString& onWord, const QString& offWord)
{
    button->setAccessibleName(name);
    const auto describe = [button, name, onWord, offWord](bool on) {
        const QString state = on ? onWord : offWord;
        button->setAccessibleDescription(state);
        button->setToolTip(name + QStringLiteral(": ") + state);
    };
    QObject::connect(button, &QAbstractButton::toggled, button, describe);
    describe(button->isChecked());
}

QAction* firstShowSidebarItem(QMenu* menu)
{
    for (QAction* item : menu->actions())
        if (item->objectName() == kShowSidebarAction)
            return item;
    return nullptr;
}

// The left panel snaps between closed and full width, so at the narrowest window it must fit whole.
static_assert(MainView::kMinimumWidth >= ViewController::kLeftPanelWidth + ViewController::kDefaultDrawerWidth
                                            + WavePane::kMinimumWidth + 2);

} // namespace

// --- Building the view tree ---

void ViewController::buildViews()
{
    m_ownedView = std::make_unique<MainView>();
    m_view = m_ownedView.get();
    MainView* root = m_ownedView.get();
    // The window takes the view over; from then on the window's tree owns it.
    connect(root, &QObject::destroyed, this, [this] { (void)m_ownedView.release(); });

    m_verticalSplitView = new LTSplitView(root);
    m_verticalSplitView->setConstrain([this](double proposed, int index) { return constrainSplitPosition(proposed, index); });
    connect(m_verticalSplitView, &LTSplitView::didResizeSubviews, this, &ViewController::splitViewDidResizeSubviews);
    m_verticalSplitView->setShouldCollapse([this](QWidget* subview) { return splitViewShouldCollapseSubview(subview); });
    connect(m_verticalSplitView, &LTSplitView::collapseRequested, this, &ViewController::collapseSubview);

    m_wavePane = new WavePane(m_verticalSplitView);
    m_verticalSplitView->addWidget(m_wavePane);
    m_waveViewContainer = new WaveViewContainer(this);
    m_waveViewContainer->setViewController(this);
    m_waveViewContainer->setWaveScrollView(m_wavePane->waveScrollView());
    m_waveViewContainer->setOverView(m_wavePane->overView());
    m_openProgressBar = new OpenProgressBar(m_wavePane);
    connect(m_openProgressBar, &OpenProgressBar::cancelRequested, this, &ViewController::cancelOpen);
    connect(m_opener.get(), &TrackOpener::progressShouldShow, m_openProgressBar,
            [this](const QUrl& url) { m_openProgressBar->showFor(url.fileName()); });
    connect(m_opener.get(), &TrackOpener::progressChanged, m_openProgressBar, &OpenProgressBar::setFraction);
    connect(m_opener.get(), &TrackOpener::ended, m_openProgressBar, &QWidget::hide);

    buildRightDrawer();
    buildBottomStrip(root);
    root->setLayoutHandler([this] {
        configureBottomControlLayout();
        m_openProgressBar->placeInParent();
    });
    // Keys that no view takes end at the window's own handler.
    root->setKeyHandler([this](QKeyEvent* event) { return keyDown(event); });
}

void ViewController::buildRightDrawer()
{
    m_rightDrawer = new QWidget(m_verticalSplitView);
    m_rightDrawer->setObjectName(QStringLiteral("rightDrawer"));
    m_rightDrawer->setAutoFillBackground(true);
    m_verticalSplitView->addWidget(m_rightDrawer);
    // Its width is the drawer's own, set when it opens; no drag squeezes it shut.
    m_verticalSplitView->setCollapsible(m_verticalSplitView->indexOf(m_rightDrawer), false);
    m_verticalSplitView->setStretchFactor(m_verticalSplitView->indexOf(m_wavePane), 1);
    m_verticalSplitView->setStretchFactor(m_verticalSplitView->indexOf(m_rightDrawer), 0);

    const QFont valueFont = fixedFont(12);
    QFont titleFont = m_rightDrawer->font();
    titleFont.setBold(true);
    titleFont.setPixelSize(12);

    auto* layout = new QVBoxLayout(m_rightDrawer);
    layout->setContentsMargins(16, 18, 16, 18);
    layout->setSpacing(8);
    const auto section = [&](const QString& title, QPushButton* toggle, QLabel*& value) {
        auto* row = new QHBoxLayout;
        auto* caption = new QLabel(title, m_rightDrawer);
        caption->setFont(titleFont);
        m_drawerTitles << caption;
        row->addWidget(caption);
        row->addStretch(1);
        value = makeLabel(m_rightDrawer, valueFont, Qt::AlignRight | Qt::AlignVCenter);
        row->addWidget(value);
        if (toggle)
            row->addWidget(toggle);
        layout->addSpacing(6);
        layout->addLayout(row);
    };
    const auto slider = [&](const QString& name) {
        auto* s = new WDSlider(m_rightDrawer);
        // Named before any value is shown, so the first tooltip carries the name.
        s->setAccessibleName(name);
        s->setFixedHeight(15);
        s->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(s);
        return s;
    };

    // The effect buttons say what state they are in.
    const auto onOff = [](QPushButton* button) {
        QObject::connect(button, &QPushButton::toggled, button,
                         [button](bool on) { button->setText(on ? ViewController::tr("On") : ViewController::tr("Off")); });
    };
    m_toneButton = makeToggle(tr("Off"), m_rightDrawer);
    onOff(m_toneButton);
    describeToggle(m_toneButton, tr("Tone"), tr("On"), tr("Off"));
    section(tr("Tone"), m_toneButton, m_toneLabel);
    m_toneSlider = slider(tr("Tone"));

    m_pitchButton = makeToggle(tr("Off"), m_rightDrawer);
    onOff(m_pitchButton);
    describeToggle(m_pitchButton, tr("Pitch"), tr("On"), tr("Off"));
    section(tr("Pitch"), m_pitchButton, m_pitchLabel);
    m_pitchCoarseSlider = slider(tr("Pitch (semitones)"));
    layout->addSpacing(4);
    m_pitchFineSlider = slider(tr("Pitch (fine)"));

    section(tr("Volume"), nullptr, m_volumeLabel);
    m_volumeSlider = slider(tr("Volume"));

    QLabel* soloValue = nullptr;
    section(tr("Solo"), nullptr, soloValue);
    auto* soloRow = new QHBoxLayout;
    m_soloLeft = makeToggle(tr("Left"), m_rightDrawer);
    m_soloRight = makeToggle(tr("Right"), m_rightDrawer);
    describeToggle(m_soloLeft, tr("Solo Left"), tr("On"), tr("Off"));
    describeToggle(m_soloRight, tr("Solo Right"), tr("On"), tr("Off"));
    soloRow->addWidget(m_soloLeft);
    soloRow->addWidget(m_soloRight);
    layout->addLayout(soloRow);
    QLabel* centreValue = nullptr;
    section(tr("Centre"), nullptr, centreValue);
    auto* centreRow = new QHBoxLayout;
    m_cancelCentre = makeToggle(tr("Cancel"), m_rightDrawer);
    describeToggle(m_cancelCentre, tr("Cancel Centre"), tr("On"), tr("Off"));
    m_cancelCentre->setToolTip(tr("Removes what sounds in the middle, such as a lead voice or solo"));
    m_centreOnly = makeToggle(tr("Only"), m_rightDrawer);
    describeToggle(m_centreOnly, tr("Centre Only"), tr("On"), tr("Off"));
    m_centreOnly->setToolTip(tr("Keeps only what sounds in the middle and leaves out what is on one side"));
    centreRow->addWidget(m_cancelCentre);
    centreRow->addWidget(m_centreOnly);
    layout->addLayout(centreRow);

    QLabel* practiceValue = nullptr;
    section(tr("Practice"), nullptr, practiceValue);
    m_practice = new PracticePanel(m_rightDrawer);
    layout->addWidget(m_practice);
    layout->addStretch(1);
}

void ViewController::buildBottomStrip(QWidget* root)
{
    m_speedSlider = new WDSlider(root);
    m_zoomSlider = new WDSlider(root);
    m_speedSlider->setAccessibleName(tr("Speed"));
    m_zoomSlider->setAccessibleName(tr("Zoom"));
    for (WDSlider* s : {m_speedSlider, m_zoomSlider})
        s->setFocusPolicy(Qt::NoFocus);
    m_playButton = new WDButtonCell(root);
    m_returnButton = new WDButtonCell(root);
    m_timeLabel = makeLabel(root, fixedFont(18));
    m_durationLabel = makeLabel(root, fixedFont(12));
    // Says why Play did nothing, without an alert in the way; empty and hidden otherwise.
    m_outputStatusLabel = makeLabel(root, root->font());
    m_outputStatusLabel->setObjectName(QStringLiteral("outputStatus"));
    const QString remedy = tr("Connect a sound device or start the sound server, then press Play again.");
    m_outputStatusLabel->setToolTip(remedy);
    m_outputStatusLabel->setAccessibleDescription(remedy);
    m_outputStatusLabel->hide();
    // The chord under the playhead, in words, while the chords are shown.
    m_chordLabel = makeLabel(root, fixedFont(13));
    m_chordLabel->setObjectName(QStringLiteral("currentChord"));
    // A name would be read in place of the text, and the text is what the listener wants.
    m_chordLabel->setAccessibleDescription(tr("Current chord"));
    m_chordLabel->hide();
    m_speedLabel = makeLabel(root, fixedFont(12));
    m_zoomLabel = makeLabel(root, fixedFont(12));

    m_leftSidebarButton = new QPushButton(root);
    m_sidebarButton = new QPushButton(root);
    for (QPushButton* b : {m_leftSidebarButton, m_sidebarButton}) {
        b->setFlat(true);
        b->setCheckable(true);
        b->setFocusPolicy(Qt::NoFocus);
        b->setCursor(Qt::PointingHandCursor);
    }
    describeToggle(m_leftSidebarButton, tr("Library & Playlist"), tr("Shown"), tr("Hidden"));
    describeToggle(m_sidebarButton, tr("Tone & Pitch"), tr("Shown"), tr("Hidden"));
    connect(m_leftSidebarButton, &QPushButton::clicked, this, [this] { toggleLeftMusicPanel(m_leftSidebarButton); });
    connect(m_sidebarButton, &QPushButton::clicked, this, [this] { showSidebar(m_sidebarButton); });
}

// --- The bottom strip ---

void ViewController::configureBottomControlLayout()
{
    if (!m_view || !m_verticalSplitView || !m_playButton || !m_returnButton || !m_speedSlider || !m_zoomSlider
        || !m_timeLabel || !m_durationLabel || !m_outputStatusLabel || !m_chordLabel || !m_speedLabel || !m_zoomLabel || !m_sidebarButton
        || !m_leftSidebarButton)
        return;

    // Widths of the widest texts, so a changing value never shifts its neighbours.
    const auto textSize = [](QLabel* label, const QString& widest) {
        const QFontMetricsF metrics(label->font());
        return QSizeF(std::ceil(metrics.horizontalAdvance(widest)) + 4.0, std::ceil(metrics.height()));
    };
    BottomStripLayout::Sizes sizes;
    sizes.playButton = QSizeF(m_playButton->sizeHint());
    sizes.returnButton = QSizeF(m_returnButton->sizeHint());
    sizes.sliderHeight = m_speedSlider->sizeHint().height();
    sizes.timeLabel = textSize(m_timeLabel, QStringLiteral("000:00"));
    sizes.durationLabel = textSize(m_durationLabel, QStringLiteral("000:00"));
    sizes.statusLabel = textSize(m_outputStatusLabel, m_outputStatusLabel->text());
    sizes.chordLabel = textSize(m_chordLabel, tr("Finding chords…"));
    sizes.speedLabel = textSize(m_speedLabel, QStringLiteral("140 %"));
    sizes.zoomLabel = textSize(m_zoomLabel, QStringLiteral("25x"));

    const BottomStripLayout::Frames f = BottomStripLayout::place(QRectF(m_view->rect()), sizes);
    const auto put = [](QWidget* w, const QRectF& r) { w->setGeometry(r.toAlignedRect()); };
    put(m_verticalSplitView, f.verticalSplitView);
    put(m_leftSidebarButton, f.leftSidebarButton);
    put(m_sidebarButton, f.sidebarButton);
    put(m_zoomSlider, f.zoomSlider);
    put(m_returnButton, f.returnButton);
    put(m_timeLabel, f.timeLabel);
    put(m_playButton, f.playButton);
    put(m_speedSlider, f.speedSlider);
    put(m_durationLabel, f.durationLabel);
    put(m_outputStatusLabel, f.statusLabel);
    put(m_chordLabel, f.chordLabel);
    put(m_speedLabel, f.speedLabel);
    put(m_zoomLabel, f.zoomLabel);
}

// --- The Tone & Pitch drawer ---

void ViewController::closeRightDrawerAtStart()
{
    m_rightDrawerExpandedWidth = m_rightDrawerConstant > 0.0 ? m_rightDrawerConstant : kDefaultDrawerWidth;
    m_rightDrawerConstant = 0.0;
    m_rightDrawer->hide();
    syncTonePitchMenuState();
}

bool ViewController::isRightDrawerOpen() const
{
    return m_rightDrawer && !m_rightDrawer->isHidden() && m_rightDrawerConstant > 1.0;
}

void ViewController::applyRightDrawerConstant()
{
    if (m_rightDrawerConstant <= 0.0)
        return;
    const int width = int(std::lround(m_rightDrawerConstant));
    m_rightDrawer->setFixedWidth(width);
    // The wave pane gives up what the drawer takes; the left panel keeps its width.
    QList<int> sizes = m_verticalSplitView->sizes();
    const int drawer = m_verticalSplitView->indexOf(m_rightDrawer);
    const int wave = m_verticalSplitView->indexOf(m_wavePane);
    const int total = std::accumulate(sizes.begin(), sizes.end(), 0);
    sizes[drawer] = width;
    int others = 0;
    for (int i = 0; i < sizes.size(); ++i)
        others += i == wave || i == drawer ? 0 : sizes[i];
    sizes[wave] = std::max(0, total - others - width);
    m_verticalSplitView->setSizes(sizes);
}

void ViewController::toggleTonePitchSidebarNow()
{
    if (isRightDrawerOpen()) {
        m_rightDrawerExpandedWidth = m_rightDrawerConstant;
        m_rightDrawerConstant = 0.0;
        m_rightDrawer->hide();
    } else {
        if (m_rightDrawerExpandedWidth < kMinimumDrawerWidth)
            m_rightDrawerExpandedWidth = kDefaultDrawerWidth;
        m_rightDrawerConstant = m_rightDrawerExpandedWidth;
        m_rightDrawer->show();
        applyRightDrawerConstant();
    }
    enforceLeftPanelWidthIfNeeded();
}

void ViewController::showSidebar(QObject*)
{
    toggleTonePitchSidebarNow();
    syncTonePitchMenuState();
}

void ViewController::syncTonePitchMenuState()
{
    m_sidebarButton->setChecked(isRightDrawerOpen());
    if (!m_mainMenu)
        return;
    const QString title
        = ControlFormats::menuText(isRightDrawerOpen() ? tr("Hide Tone & Pitch") : tr("Show Tone & Pitch"));
    for (QAction* top : m_mainMenu->actions()) {
        if (QMenu* menu = top->menu()) {
            if (QAction* item = firstShowSidebarItem(menu)) {
                item->setText(title);
                return;
            }
        }
    }
}

// --- The left panel's menu item ---

void ViewController::setupLibrarySidebarMenu()
{
    QPointer<ViewController> self(this);
    MainQueue::post([self] {
        if (!self || !self->m_mainMenu)
            return;
        QMenu* viewMenu = nullptr;
        for (QAction* top : self->m_mainMenu->actions()) {
            if (top->menu() && firstShowSidebarItem(top->menu())) {
                viewMenu = top->menu();
                break;
            }
        }
        if (!viewMenu)
            return;
        QAction* item = nullptr;
        for (QAction* candidate : viewMenu->actions())
            if (candidate->property("tag").toInt() == kLibrarySidebarMenuTag)
                item = candidate;
        if (!item) {
            item = new QAction(ControlFormats::menuText(tr("Show Library & Playlist")), viewMenu);
            item->setProperty("tag", kLibrarySidebarMenuTag);
            const QList<QAction*> items = viewMenu->actions();
            QAction* before = !items.isEmpty() && items.last()->isSeparator() ? items.last() : nullptr;
            viewMenu->insertAction(before, item);
        }
        QObject::disconnect(item, &QAction::triggered, nullptr, nullptr);
        QObject::connect(item, &QAction::triggered, self, [self] { self->toggleLeftMusicPanel(nullptr); });
        self->m_librarySidebarMenuItem = item;
        self->syncLibrarySidebarMenuState();
    });
}

bool ViewController::isLeftPanelShown() const
{
    return m_leftPanelVisible && m_leftSidebarView && !m_leftSidebarView->isHidden() && m_leftSidebarView->width() > 1;
}

void ViewController::syncLibrarySidebarMenuState()
{
    m_leftSidebarButton->setChecked(isLeftPanelShown());
    if (m_librarySidebarMenuItem)
        m_librarySidebarMenuItem->setText(
            ControlFormats::menuText(isLeftPanelShown() ? tr("Hide Library & Playlist") : tr("Show Library & Playlist")));
}

void ViewController::toggleLeftMusicPanel(QObject*)
{
    setLeftMusicPanelVisible(!isLeftPanelShown(), true);
    syncLibrarySidebarMenuState();
}

// --- The left panel ---

void ViewController::setupLeftSidebarUI()
{
    if (!m_verticalSplitView || m_leftSidebarView)
        return;
    const QVariant stored = m_defaults.objectForKey(QStringLiteral("LeftMusicPanelVisible"));
    m_leftPanelVisible = !stored.isValid() || ColorTheme::flagForKey(m_defaults, QStringLiteral("LeftMusicPanelVisible"), true);
    m_leftPanelExpandedWidth = clampedLeftPanelWidth(kLeftPanelWidth);

    m_leftSidebarView = new QWidget;
    m_leftSidebarView->setObjectName(QStringLiteral("leftSidebarView"));
    m_leftSidebarView->setAutoFillBackground(true);
    QPalette palette = m_leftSidebarView->palette();
    palette.setColor(QPalette::Window, m_colors.key);
    m_leftSidebarView->setPalette(palette);
    buildLeftSidebarContents(m_leftSidebarView);
    m_verticalSplitView->insertWidget(0, m_leftSidebarView);
    m_verticalSplitView->setCollapsible(0, true);
    m_verticalSplitView->setStretchFactor(0, 0);

    if (m_leftPanelVisible) {
        m_leftSidebarView->show();
        moveLeftDivider(m_leftPanelExpandedWidth);
        persistLeftPanelState();
    } else {
        setLeftMusicPanelVisible(false, false);
    }
}

double ViewController::clampedLeftPanelWidth(double)
{
    return kLeftPanelWidth;
}

void ViewController::moveLeftDivider(double position)
{
    QList<int> sizes = m_verticalSplitView->sizes();
    if (sizes.size() < 2)
        return;
    const int total = std::accumulate(sizes.begin(), sizes.end(), 0);
    const int left = int(std::lround(position));
    const int drawer = sizes.size() > 2 ? sizes[2] : 0;
    sizes[0] = left;
    // Before the first layout there is no width to share yet; the wave pane takes what is left later.
    sizes[1] = total > left + drawer ? total - left - drawer : 1000;
    m_verticalSplitView->setSizes(sizes);
}

void ViewController::setLeftMusicPanelVisible(bool visible, bool persist)
{
    if (!m_leftSidebarView)
        return;
    {
        const bool saved = m_applyingLeftPanelState;
        m_applyingLeftPanelState = true;
        m_leftPanelVisible = visible;
        m_leftSidebarView->show();
        if (visible) {
            m_leftPanelExpandedWidth = clampedLeftPanelWidth(m_leftPanelExpandedWidth);
            moveLeftDivider(m_leftPanelExpandedWidth);
            // A panel opened from closed had no height to share until this layout.
            QPointer<ViewController> self(this);
            MainQueue::post([self] {
                if (self)
                    self->restoreLeftPanelTopSplitRatio();
            });
        } else {
            moveLeftDivider(0.0);
            m_leftSidebarView->hide();
        }
        m_applyingLeftPanelState = saved;
    }
    if (persist)
        persistLeftPanelState();
    syncLibrarySidebarMenuState();
}

void ViewController::enforceLeftPanelWidthIfNeeded()
{
    if (!m_leftSidebarView || !m_leftPanelVisible || m_leftSidebarView->isHidden())
        return;
    m_leftPanelExpandedWidth = clampedLeftPanelWidth(m_leftPanelExpandedWidth);
    if (std::abs(m_leftSidebarView->width() - m_leftPanelExpandedWidth) > 0.5) {
        const bool saved = m_applyingLeftPanelState;
        m_applyingLeftPanelState = true;
        moveLeftDivider(m_leftPanelExpandedWidth);
        m_applyingLeftPanelState = saved;
    }
}

void ViewController::persistLeftPanelState()
{
    m_defaults.setObject(m_leftPanelVisible, QStringLiteral("LeftMusicPanelVisible"));
    m_defaults.setObject(m_leftPanelExpandedWidth, QStringLiteral("LeftMusicPanelWidth"));
    persistLeftPanelTopRatio();
}

// --- The split view's rules ---

double ViewController::constrainSplitPosition(double proposed, int index)
{
    if (index != 0 || !m_leftSidebarView)
        return proposed;
    if (!m_leftPanelVisible || m_leftSidebarView->isHidden())
        return 0.0;
    if (m_leftPanelExpandedWidth <= 0.0)
        m_leftPanelExpandedWidth = clampedLeftPanelWidth(kLeftPanelWidth);
    m_leftPanelExpandedWidth = clampedLeftPanelWidth(m_leftPanelExpandedWidth);
    // The divider snaps: closed, or the panel's full width.
    return proposed <= kLeftPanelSnap ? 0.0 : m_leftPanelExpandedWidth;
}

bool ViewController::splitViewShouldCollapseSubview(QWidget* subview) const
{
    return subview && (subview == m_rightDrawer || subview == m_leftSidebarView);
}

void ViewController::collapseSubview(QWidget* subview)
{
    if (subview == m_leftSidebarView && isLeftPanelShown())
        setLeftMusicPanelVisible(false, true);
    else if (subview == m_rightDrawer && isRightDrawerOpen())
        showSidebar(nullptr);
}

void ViewController::splitViewDidResizeSubviews()
{
    if (!m_leftSidebarView || m_applyingLeftPanelState)
        return;
    if (m_leftPanelVisible && !m_leftSidebarView->isHidden()) {
        if (m_leftSidebarView->width() <= kLeftPanelSnap) {
            setLeftMusicPanelVisible(false, true);
            return;
        }
        enforceLeftPanelWidthIfNeeded();
    } else {
        m_leftPanelVisible = false;
    }
    persistLeftPanelState();
    syncLibrarySidebarMenuState();
}
