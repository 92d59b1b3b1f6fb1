#pragma once

#include <QHash>
#include <QMainWindow>
#include <QPointer>
#include <QStringList>

class QAction;
class QActionGroup;
class QParallelAnimationGroup;
class QToolBar;

// A preferences window of panes chosen from a toolbar: the window takes each pane's size, keeping
// its top-left corner where it is, and the panes cross-fade (slowly with Shift held).
class PWPrefsWindowController : public QMainWindow {
    Q_OBJECT
public:
    static constexpr int kFadeMs = 250;
    static constexpr int kSlowFadeMs = 1250;

    explicit PWPrefsWindowController(QWidget* parent = nullptr);

    // Builds the panes anew and shows the first; a window without panes stays shut.
    void showWindow();
    void displayViewForIdentifier(const QString& identifier, bool animate);

    bool crossFade() const { return m_crossFade; }
    void setCrossFade(bool fade) { m_crossFade = fade; }
    bool shiftSlowsAnimation() const { return m_shiftSlowsAnimation; }
    QStringList toolbarIdentifiers() const { return m_toolbarIdentifiers; }
    QWidget* contentSubview() const { return m_contentSubview; }
    // The pane shown now, or null.
    QWidget* shownView() const;
    int lastFadeMs() const { return m_lastFadeMs; }

protected:
    // Subclasses add their panes here.
    virtual void setupToolbar() {}
    void addView(QWidget* view, const QString& label, const QIcon& icon);
    void keyPressEvent(QKeyEvent* event) override;

private:
    void crossFadeView(QWidget* oldView, QWidget* newView);
    QRect frameForView(QWidget* view) const;

    bool m_crossFade = true;
    bool m_shiftSlowsAnimation = true;
    QStringList m_toolbarIdentifiers;
    QHash<QString, QPointer<QWidget>> m_toolbarViews;
    QHash<QString, QAction*> m_toolbarItems;
    QToolBar* m_toolbar = nullptr;
    QActionGroup* m_group = nullptr;
    QWidget* m_contentSubview = nullptr;
    QPointer<QParallelAnimationGroup> m_viewAnimation;
    int m_lastFadeMs = 0;
    bool m_placed = false;
};
