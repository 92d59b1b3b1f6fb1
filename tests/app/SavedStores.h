#pragma once

#include <QString>

#include <functional>
#include <vector>

// Each file Lento writes for the user, as one row: how the program saves one of two contents, and
// how it reads the file back. Shared by the test and by the child process it kills mid-save.
struct SavedStore {
    const char* name;
    // Makes what the program finds there before its first save (the file may also be absent).
    std::function<void(const QString& path)> seed;
    // Saves content `generation` (0 or 1) through the program's own class.
    std::function<bool(const QString& path, int generation)> save;
    // Reads the file through the same class: empty when it holds one whole saved content, else why not.
    std::function<QString(const QString& path)> check;
};

const std::vector<SavedStore>& savedStores();
const SavedStore* savedStoreNamed(const QString& name);
