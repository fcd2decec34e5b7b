// Text written in chunks as it is built, and files replaced only by a whole text.
#include "TestHome.h"

#include "common/AtomicFile.h"
#include "common/TextSink.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>

using namespace orel;

// Handed on in chunks of any size and appended in pieces of any size, a text encodes as the whole
// text would: a surrogate pair split between two chunks, lone halves and a high half at the end
// included. After a failed write the rest is dropped.
TEST(TextSink, ChunksEncodeAsTheWholeText)
{
    const QString pair = QString::fromUcs4(U"\U0001F600", 1);
    const QString text = QStringLiteral("caf\u00e9 ") + pair + pair + QChar(0xDC00) + u"\r\n"
            + QChar(0xD800) + u"x" + pair + pair.first(1);
    for (const qsizetype chunk : { 1, 2, 3, 7 }) {
        for (const qsizetype piece : { 1, 2, 5, 20 }) {
            QByteArray bytes;
            TextSink sink(
                    [&bytes](QByteArrayView written) {
                        bytes += written;
                        return true;
                    },
                    chunk);
            for (qsizetype at = 0; at < text.size(); at += piece)
                sink << QStringView(text).mid(at, piece);
            EXPECT_TRUE(sink.finish());
            EXPECT_EQ(bytes, text.toUtf8()) << "chunk " << chunk << ", piece " << piece;
        }
    }
    EXPECT_EQ(TextSink::gather([&text](TextSink &out) { out << text << QLatin1String("!"); }),
              text + u"!");

    int writes = 0;
    TextSink failing([&writes](QByteArrayView) { return ++writes < 2; }, 2);
    failing << u"abcdefgh";
    EXPECT_FALSE(failing.finish());
    EXPECT_EQ(writes, 2);
}

// A streamed file replaces the earlier one only when all of it is written: a write that fails
// part way (here at the file size limit) leaves the earlier file whole and no temporary file
// beside it. Where no file can be made, nothing is built.
TEST(AtomicFile, StreamedTextReplacesTheFileOnlyWhenWhole)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("out.txt"));
    const QString line = QString(999, QLatin1Char('x')) + u"\r";
    const auto lines = [&line](int count) {
        return [&line, count](TextSink &out) {
            for (int i = 0; i < count; ++i)
                out << line;
        };
    };
    ASSERT_TRUE(writeTextAtomically(path, lines(3)));
    const QByteArray earlier = test::readFile(path);
    EXPECT_EQ(earlier, line.repeated(3).toUtf8());

    rlimit saved {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    rlimit limited = saved;
    limited.rlim_cur = TextSink::kChunk + 1000; // the second of three chunks fails
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    QString error;
    const bool written = writeTextAtomically(path, lines(int(TextSink::kChunk * 3 / 1000)), &error);
    setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(written);
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(test::readFile(path), earlier);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList { "out.txt" });

    bool built = false;
    EXPECT_FALSE(writeTextAtomically(dir.filePath(QStringLiteral("no/such/folder/out.txt")),
                                     [&built](TextSink &) { built = true; }));
    EXPECT_FALSE(built);
}
