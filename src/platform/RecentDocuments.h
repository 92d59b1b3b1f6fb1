#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QUrl>

// The desktop's list of recently used files (freedesktop's recently-used.xbel), which file
// choosers and launchers show, and the application's own short list for its Open Recent menu.
class RecentDocuments {
public:
    static constexpr int kMaximumCount = 10;

    // `xbelPath` empty: the user's ~/.local/share/recently-used.xbel.
    explicit RecentDocuments(QString xbelPath = {});

    static QString defaultXbelPath();
    QString xbelPath() const { return m_xbelPath; }

    // Adds or refreshes the entry of `url` (a file URL) in the desktop list, keeping every other
    // application's entries; the file is replaced whole, never left half-written. False when the
    // list can not be read as XBEL or not be written.
    bool noteNewRecentDocumentURL(const QUrl& url, const QString& mimeType,
                                  const QDateTime& when = QDateTime::currentDateTimeUtc()) const;

    // The file URLs of the desktop list, in file order.
    QStringList recentURLs() const;

    // The application's list after opening `path`: most recent first, no duplicates, at most
    // kMaximumCount, and only files that still exist.
    static QStringList updatedList(const QStringList& list, const QString& path);
    static QStringList existingOnly(const QStringList& list);

private:
    QString m_xbelPath;
};
