// Text appended in pieces, gathered or written a chunk at a time.
#include "common/TextSink.h"

namespace orel {

TextSink::TextSink(Writer writer, qsizetype chunk) : m_writer(std::move(writer)), m_chunk(chunk)
{
    m_text.reserve(chunk + 1024);
}

void TextSink::spill(bool last)
{
    if (!m_writer)
        return;
    // A surrogate pair split between two chunks would encode as two invalid characters: the
    // high half waits for the next chunk. Otherwise each chunk encodes as its part of the whole
    // text would.
    qsizetype size = m_text.size();
    if (!last && size > 0 && m_text.at(size - 1).isHighSurrogate())
        --size;
    if (!m_failed && size > 0)
        m_failed = !m_writer(QStringView(m_text).first(size).toUtf8());
    // Emptied in place: the buffer keeps its room for the next chunk.
    m_text.remove(0, size);
}

TextSink &TextSink::appendLong(QStringView text)
{
    for (qsizetype at = 0; at < text.size(); at += m_chunk) {
        m_text.append(text.mid(at, m_chunk));
        spillWhenFull();
    }
    return *this;
}

bool TextSink::finish()
{
    spill(true);
    return !m_failed;
}

} // namespace orel
