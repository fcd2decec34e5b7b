// Texts of a batch of rows read ahead of writing them into an export; main thread.
#pragma once

#include "common/UrlParts.h"

#include <QString>
#include <QStringView>

#include <array>

namespace orel {

// The page URLs and link texts of a crawl lie scattered over the heap, in the order the pages
// were read, so reading one waits for memory. Read for a batch of rows in a tight loop, the waits
// overlap; read row by row between the appends of a line, they follow each other, and the large
// exports took twice as long. Texts come as bhDataSource::exportValue() gives them for every
// column but the link URL: without user info.
class ReadAhead
{
public:
    static constexpr int kBatch = 64;

    // The texts of rows 0 .. count - 1 (count at most kBatch), viewOf(row) giving each; the
    // views must stay valid until the batch is written.
    template<typename ViewOf>
    void read(int count, ViewOf &&viewOf)
    {
        for (int k = 0; k < count; ++k)
            m_texts[k] = viewOf(k);
        // Looking for "@" reads the characters: a loop of its own, so that those waits overlap
        // too.
        for (int k = 0; k < count; ++k) {
            if (m_texts[k].contains(u'@')) {
                m_held[k] = UrlParts::withoutUserInfo(m_texts[k].toString());
                m_texts[k] = m_held[k];
            }
        }
    }

    QStringView at(int row) const { return m_texts[row]; }

private:
    std::array<QStringView, kBatch> m_texts;
    std::array<QString, kBatch> m_held; // a text whose user info was taken out
};

} // namespace orel
