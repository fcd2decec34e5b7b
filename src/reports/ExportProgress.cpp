#include "reports/ExportProgress.h"

#include "common/Dialogs.h"
#include "common/Localize.h"

#include <QtGlobal>

namespace orel {

ExportProgress::ExportProgress(int rows) : m_rows(rows)
{
    Dialogs::current().showProgress(localized("Exporting"), 100);
    Dialogs::current().setProgress(0);
}

ExportProgress::~ExportProgress()
{
    Dialogs::current().hideProgress();
}

void ExportProgress::step(int row)
{
    const int percent = m_rows > 0 ? int(qint64(row) * 100 / m_rows) : 0;
    if (percent != m_percent) {
        m_percent = percent;
        Dialogs::current().setProgress(percent);
    }
}

} // namespace orel
