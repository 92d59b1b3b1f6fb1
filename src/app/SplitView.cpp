#include "app/SplitView.h"

#include <QMouseEvent>
#include <QPainter>

#include <cmath>

// A thin handle that sends drags to the split view's rule instead of moving freely.
class LTSplitHandle : public QSplitterHandle {
public:
    LTSplitHandle(Qt::Orientation orientation, LTSplitView* parent)
        : QSplitterHandle(orientation, parent)
        , m_split(parent)
    {
    }

protected:
    void mouseMoveEvent(QMouseEvent* event) override
    {
        if (!(event->buttons() & Qt::LeftButton))
            return;
        const int pos = int(std::lround(m_split->mapFromGlobal(event->globalPosition()).x() - m_offset));
        m_split->dividerDragged(pos, m_split->indexOf(this) - 1);
    }
    void mousePressEvent(QMouseEvent* event) override
    {
        if (event->button() == Qt::LeftButton)
            m_offset = event->position().x();
    }
    void mouseReleaseEvent(QMouseEvent*) override {}
    void mouseDoubleClickEvent(QMouseEvent* event) override
    {
        if (event->button() == Qt::LeftButton)
            m_split->dividerDoubleClicked(m_split->indexOf(this) - 1);
    }
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(0, 0, 0, 90));
    }

private:
    LTSplitView* m_split;
    double m_offset = 0.0;
};

LTSplitView::LTSplitView(QWidget* parent)
    : QSplitter(Qt::Horizontal, parent)
{
    setHandleWidth(1);
    setChildrenCollapsible(false);
    connect(this, &QSplitter::splitterMoved, this, [this] {
        if (!m_moving)
            emit didResizeSubviews();
    });
}

QSplitterHandle* LTSplitView::createHandle()
{
    return new LTSplitHandle(orientation(), this);
}

void LTSplitView::moveDivider(int position, int index)
{
    dividerDragged(position, index);
}

void LTSplitView::dividerDragged(int position, int index)
{
    const double allowed = m_constrain ? m_constrain(position, index) : position;
    setDividerPosition(int(std::lround(allowed)), index);
    emit didResizeSubviews();
}

void LTSplitView::dividerDoubleClicked(int index)
{
    if (!m_shouldCollapse)
        return;
    // The pane before the divider is asked first, as the one it usually belongs to.
    for (QWidget* subview : {widget(index), widget(index + 1)}) {
        if (subview && subview->isVisible() && m_shouldCollapse(subview)) {
            emit collapseRequested(subview);
            return;
        }
    }
}

void LTSplitView::setDividerPosition(int position, int index)
{
    m_moving = true;
    moveSplitter(position, index + 1);
    m_moving = false;
}

int LTSplitView::dividerPosition(int index) const
{
    const QSplitterHandle* h = handle(index + 1);
    return h ? h->x() : 0;
}
