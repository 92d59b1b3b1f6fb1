#pragma once

// Who follows an export: told the fraction done once a block, and told when it is over. Both
// calls arrive on the main thread.
class ExportProgress {
public:
    virtual ~ExportProgress() = default;
    virtual void setProgressBar(double fraction) = 0;
    virtual void hideProgressBar() = 0;
};
