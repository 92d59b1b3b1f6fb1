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
    // All the file holds, read through the same class, as text to compare.
    std::function<QString(const QString& path)> read;
};

const std::vector<SavedStore>& savedStores();
