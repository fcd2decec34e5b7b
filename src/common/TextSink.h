// Text appended in pieces: gathered into one string, or encoded as UTF-8 and handed on a chunk at
// a time, so that a large export never holds its whole text; the thread that appends to it.
#pragma once

#include <QByteArray>
#include <QChar>
#include <QLatin1StringView>
#include <QString>
#include <QStringView>

#include <algorithm>
#include <functional>

namespace orel {

// Appending copies into a buffer of its own, without QString::append()'s checks on each call: a
// large export appends some hundred million pieces.
class TextSink
{
public:
    // Writes a chunk's bytes, which it may keep; answers whether they were all written.
    using Writer = std::function<bool(QByteArray bytes)>;
    // Characters gathered before they are encoded and written.
    static constexpr qsizetype kChunk = 512 * 1024;

    // Gathers the whole text: take() answers it.
    TextSink() = default;
    // Hands the text to writer a chunk of characters at a time. After a failed write the rest
    // of the text is dropped.
    explicit TextSink(Writer writer, qsizetype chunk = kChunk);
    TextSink(const TextSink &) = delete;
    TextSink &operator=(const TextSink &) = delete;

    TextSink &operator<<(QStringView text)
    {
        if (text.size() > m_end - m_at)
            return appendSlowly(text);
        m_at = std::copy_n(text.utf16(), text.size(), m_at);
        return *this;
    }
    TextSink &operator<<(QLatin1StringView text)
    {
        if (text.size() > m_end - m_at)
            return *this << QString(text);
        for (const char c : text)
            *m_at++ = char16_t(uchar(c));
        return *this;
    }
    TextSink &operator<<(QChar c)
    {
        if (m_at == m_end)
            return appendSlowly(QStringView(&c, 1));
        *m_at++ = c.unicode();
        return *this;
    }

    // The text write appends, as one string.
    static QString gather(const std::function<void(TextSink &)> &write)
    {
        TextSink sink;
        write(sink);
        return sink.take();
    }

    // Writes what is left; answers whether every write worked (always true when gathering).
    bool finish();
    // The gathered text, which the sink then no longer holds.
    QString take();

private:
    // Makes room (gathering: a larger buffer; writing: the buffer written) and appends.
    TextSink &appendSlowly(QStringView text);
    void spill(bool last);
    qsizetype size() const { return m_at - begin(); }
    char16_t *begin() const { return m_end - m_buffer.size(); }

    // Room for the characters, of which [begin(), m_at) are written.
    QString m_buffer;
    char16_t *m_at = nullptr;
    char16_t *m_end = nullptr;
    Writer m_writer;
    bool m_failed = false;
};

} // namespace orel
