#pragma once

#include <QString>
#include <QStringList>

#include <functional>

enum class AlertStyle { Warning = 0, Informational = 1, Critical = 2 };

struct Alert {
    QString messageText;
    QString informativeText;
    QStringList buttons;
    AlertStyle style = AlertStyle::Warning;
};

// Modal alerts go through one presenter: the GUI installs a message box, tests install a recorder,
// and a run without a window prints the alert to stderr.
class Alerts {
public:
    static constexpr int FirstButtonReturn = 1000;

    using Presenter = std::function<int(const Alert&)>;
    static void setPresenter(Presenter presenter);

    // Blocks until answered; returns FirstButtonReturn + the index of the chosen button.
    static int runModal(const Alert& alert);
};
