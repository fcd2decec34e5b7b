// Text appended in pieces: gathered into one string, or encoded as UTF-8 and handed on a chunk at
// a time, so that a large export never holds its whole text; the thread that appends to it.
#pragma once

#include <QByteArray>
#include <QChar>
#include <QLatin1StringView>
#include <QString>
#include <QStringView>

#include <functional>
#include <limits>

namespace orel {

class TextSink
{
public:
    // Writes a chunk's bytes, which it may keep; answers whether they were all written.
    using Writer = std::function<bool(QByteArray bytes)>;
    // Characters gathered before they are encoded and written.
    static constexpr qsizetype kChunk = 512 * 1024;

    // Gathers the whole text: take() answers it.
    TextSink() = default;
    // Hands the text to writer about every chunk characters. After a failed write the rest of
    // the text is dropped.
    explicit TextSink(Writer writer, qsizetype chunk = kChunk);
    TextSink(const TextSink &) = delete;
    TextSink &operator=(const TextSink &) = delete;

    TextSink &operator<<(QStringView text)
    {
        if (text.size() > m_chunk)
            return appendLong(text);
        m_text.append(text);
        return spillWhenFull();
    }
    TextSink &operator<<(QLatin1StringView text)
    {
        m_text.append(text);
        return spillWhenFull();
    }
    TextSink &operator<<(QChar c)
    {
        m_text.append(c);
        return spillWhenFull();
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
    bool failed() const { return m_failed; }
    // The gathered text, which the sink then no longer holds.
    QString take() { return std::move(m_text); }

private:
    TextSink &spillWhenFull()
    {
        if (m_text.size() >= m_chunk)
            spill(false);
        return *this;
    }
    void spill(bool last);
    // A text longer than a chunk goes a chunk at a time, never held twice.
    TextSink &appendLong(QStringView text);

    QString m_text;
    Writer m_writer;
    qsizetype m_chunk = std::numeric_limits<qsizetype>::max();
    bool m_failed = false;
};

} // namespace orel
