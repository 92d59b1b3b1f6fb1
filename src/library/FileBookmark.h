#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QUrl>

// A persistent reference to a local file that finds the file again after a rename or a move on
// the same file system. The data is opaque: a versioned record of the absolute path and the
// file's identity (device, inode, size, modification time). All operations are thread-safe.
class FileBookmark {
public:
    // Empty when the URL is not a local file that exists.
    static QByteArray bookmarkDataFromURL(const QUrl& url);

    // The file's URL, or a null QUrl when it can not be resolved; *error then says why.
    // *isStale is true when the file is no longer the one recorded at the recorded path: it was
    // replaced there, or found elsewhere. Fresh data should then be made from the URL.
    // isStale and error may be null.
    static QUrl URLByResolvingBookmarkData(const QByteArray& data, bool* isStale, QString* error);

    // Further folders searched, recursively, for a moved file (the music library folders).
    static void setSearchFolders(const QStringList& folders);
    static QStringList searchFolders();

    // Entries looked at in each searched area (the old folder, its parent with the parent's direct
    // subfolders, each search folder) before giving up there.
    static constexpr int searchEntryLimit = 5000;
};
