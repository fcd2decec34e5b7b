// Text appended in pieces, gathered or written a chunk at a time.
#include "common/TextSink.h"

namespace orel {

TextSink::TextSink(Writer writer, qsizetype chunk) : m_writer(std::move(writer))
{
    // Room for two at least: a pair's high half may wait in it for the low half.
    m_buffer.resize(std::max<qsizetype>(chunk, 2));
    m_at = reinterpret_cast<char16_t *>(m_buffer.data());
    m_end = m_at + m_buffer.size();
}

TextSink &TextSink::appendSlowly(QStringView text)
{
    if (!m_writer) {
        // Grown by doubling, as a string grows.
        const qsizetype used = size();
        m_buffer.resize(
                std::max(2 * m_buffer.size(), std::max<qsizetype>(used + text.size(), 256)));
        m_at = reinterpret_cast<char16_t *>(m_buffer.data()) + used;
        m_end = reinterpret_cast<char16_t *>(m_buffer.data()) + m_buffer.size();
        m_at = std::copy_n(text.utf16(), text.size(), m_at);
        return *this;
    }
    // A text longer than the room goes in pieces, never held twice.
    while (!text.isEmpty()) {
        if (m_at == m_end)
            spill(false);
        const qsizetype n = std::min<qsizetype>(text.size(), m_end - m_at);
        m_at = std::copy_n(text.utf16(), n, m_at);
        text = text.sliced(n);
    }
    return *this;
}

void TextSink::spill(bool last)
{
    // A surrogate pair split between two chunks would encode as two invalid characters: the
    // high half waits for the next chunk. Otherwise each chunk encodes as its part of the whole
    // text would.
    qsizetype n = size();
    if (!last && n > 0 && QChar::isHighSurrogate(begin()[n - 1]))
        --n;
    if (!m_failed && n > 0)
        m_failed = !m_writer(QStringView(begin(), n).toUtf8());
    m_at = std::copy(begin() + n, m_at, begin());
}

bool TextSink::finish()
{
    if (m_writer)
        spill(true);
    return !m_failed;
}

QString TextSink::take()
{
    m_buffer.truncate(size());
    m_at = m_end = nullptr;
    return std::move(m_buffer);
}

} // namespace orel
