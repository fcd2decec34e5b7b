// The progress window shown while an export is built: percent of its rows done; main thread.
#pragma once

namespace orel {

// Shown on creation, hidden on destruction; the value is set only when the percent changes, so
// a large export does not redraw the window for every row.
class ExportProgress
{
public:
    explicit ExportProgress(int rows);
    ~ExportProgress();
    ExportProgress(const ExportProgress &) = delete;
    ExportProgress &operator=(const ExportProgress &) = delete;

    void step(int row);

private:
    int m_rows;
    int m_percent = 0;
};

} // namespace orel
