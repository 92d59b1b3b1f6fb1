#include "preferences/PWPrefsWindowController.h"

#include <QActionGroup>
#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QKeyEvent>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QToolBar>

PWPrefsWindowController::PWPrefsWindowController(QWidget* parent)
    : QMainWindow(parent, Qt::Dialog)
{
    m_toolbar = addToolBar(tr("Panes"));
    m_toolbar->setMovable(false);
    m_toolbar->setFloatable(false);
    m_toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    m_toolbar->toggleViewAction()->setVisible(false);
    setContextMenuPolicy(Qt::NoContextMenu);
    m_group = new QActionGroup(this);
    m_contentSubview = new QWidget(this);
    setCentralWidget(m_contentSubview);
}

QWidget* PWPrefsWindowController::shownView() const
{
    for (QWidget* view : m_contentSubview->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly))
        if (!view->isHidden() && !view->graphicsEffect())
            return view;
    return nullptr;
}

void PWPrefsWindowController::showWindow()
{
    for (QAction* item : std::as_const(m_toolbarItems))
        delete item;
    for (const QPointer<QWidget>& view : std::as_const(m_toolbarViews))
        delete view.data();
    m_toolbarIdentifiers.clear();
    m_toolbarViews.clear();
    m_toolbarItems.clear();
    setupToolbar();
    if (m_toolbarIdentifiers.isEmpty())
        return;
    displayViewForIdentifier(m_toolbarIdentifiers.first(), false);
    if (!m_placed && parentWidget()) {
        // Centred over the main window the first time, then where the user leaves it.
        QRect frame = geometry();
        frame.moveCenter(parentWidget()->window()->geometry().center());
        setGeometry(frame);
        m_placed = true;
    }
    show();
    raise();
    activateWindow();
}

void PWPrefsWindowController::addView(QWidget* view, const QString& label, const QIcon& icon)
{
    if (!view)
        return;
    view->setParent(m_contentSubview);
    view->hide();
    m_toolbarIdentifiers << label;
    m_toolbarViews.insert(label, view);
    QAction* item = m_toolbar->addAction(icon, label);
    item->setCheckable(true);
    m_group->addAction(item);
    connect(item, &QAction::triggered, this, [this, label] { displayViewForIdentifier(label, true); });
    m_toolbarItems.insert(label, item);
}

void PWPrefsWindowController::displayViewForIdentifier(const QString& identifier, bool animate)
{
    QWidget* newView = m_toolbarViews.value(identifier);
    if (!newView)
        return;
    if (QAction* item = m_toolbarItems.value(identifier))
        item->setChecked(true);
    // A fade still running ends here: its new pane is the one shown.
    if (m_viewAnimation)
        m_viewAnimation->setCurrentTime(m_viewAnimation->totalDuration());
    QWidget* oldView = shownView();
    if (newView == oldView)
        return;
    newView->adjustSize();
    newView->move(0, 0);
    if (animate && m_crossFade && oldView) {
        crossFadeView(oldView, newView);
    } else {
        if (oldView)
            oldView->hide();
        newView->show();
        setGeometry(frameForView(newView));
    }
    newView->raise();
    setWindowTitle(identifier);
}

QRect PWPrefsWindowController::frameForView(QWidget* view) const
{
    // The top-left corner stays; the window grows or shrinks below it.
    QRect frame = geometry();
    frame.setSize(QSize(std::max(view->width(), m_toolbar->sizeHint().width()), view->height() + m_toolbar->sizeHint().height()));
    return frame;
}

void PWPrefsWindowController::crossFadeView(QWidget* oldView, QWidget* newView)
{
    if (m_viewAnimation)
        m_viewAnimation->stop();
    const bool slow = m_shiftSlowsAnimation && (QApplication::keyboardModifiers() & Qt::ShiftModifier);
    m_lastFadeMs = slow ? kSlowFadeMs : kFadeMs;
    auto* group = new QParallelAnimationGroup(this);
    const auto fade = [&](QWidget* view, double from, double to) {
        auto* effect = new QGraphicsOpacityEffect(view);
        effect->setOpacity(from);
        view->setGraphicsEffect(effect);
        auto* animation = new QPropertyAnimation(effect, "opacity", group);
        animation->setDuration(m_lastFadeMs);
        animation->setStartValue(from);
        animation->setEndValue(to);
        animation->setEasingCurve(QEasingCurve::InOutQuad);
        group->addAnimation(animation);
    };
    newView->show();
    fade(oldView, 1.0, 0.0);
    fade(newView, 0.0, 1.0);
    auto* resize = new QPropertyAnimation(this, "geometry", group);
    resize->setDuration(m_lastFadeMs);
    resize->setEndValue(frameForView(newView));
    resize->setEasingCurve(QEasingCurve::InOutQuad);
    group->addAnimation(resize);
    connect(group, &QAbstractAnimation::finished, this, [oldView, newView] {
        oldView->hide();
        oldView->setGraphicsEffect(nullptr);
        newView->setGraphicsEffect(nullptr);
    });
    m_viewAnimation = group;
    group->start(QAbstractAnimation::DeleteWhenStopped);
}

void PWPrefsWindowController::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Close) || (event->key() == Qt::Key_W && event->modifiers() == Qt::ControlModifier)) {
        close();
        return;
    }
    QMainWindow::keyPressEvent(event);
}
