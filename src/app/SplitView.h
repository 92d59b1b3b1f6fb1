#pragma once

#include <QSplitter>

#include <functional>

// The window's side-by-side split. Every move of a divider, by the user or the program, goes
// through the owner's rule for where it may stand, and the owner hears when the panes changed.
class LTSplitView : public QSplitter {
    Q_OBJECT
public:
    // Where divider `index` (0 = the first) may stand, given where it was asked to go.
    using Constrain = std::function<double(double proposed, int index)>;
    // Whether a double click on a divider beside `subview` collapses it.
    using ShouldCollapse = std::function<bool(QWidget* subview)>;

    explicit LTSplitView(QWidget* parent = nullptr);

    void setConstrain(Constrain constrain) { m_constrain = std::move(constrain); }
    void setShouldCollapse(ShouldCollapse shouldCollapse) { m_shouldCollapse = std::move(shouldCollapse); }
    // Moves divider `index` as a drag to `position` would, the rule applied.
    void moveDivider(int position, int index);
    // Moves it without the rule, for the owner's own moves.
    void setDividerPosition(int position, int index);
    // The left edge of divider `index`'s handle, in the split view's coordinates.
    int dividerPosition(int index) const;

signals:
    void didResizeSubviews();
    // A double click on a divider asks the owner to collapse this pane; the owner knows how.
    void collapseRequested(QWidget* subview);

protected:
    QSplitterHandle* createHandle() override;

private:
    friend class LTSplitHandle;
    void dividerDragged(int position, int index);
    void dividerDoubleClicked(int index);

    Constrain m_constrain;
    ShouldCollapse m_shouldCollapse;
    bool m_moving = false;
};
