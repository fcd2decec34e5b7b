// Drives every reader of the page scanner over arbitrary bytes. The first byte picks the
// constructor flags and the mode; the rest is the page.
#include "parser/AnchorNames.h"
#include "parser/OrelDbItem.h"
#include "parser/OrelParser.h"
#include "parser/OrelXmlTag.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstddef>
#include <cstdint>

using orel::OrelParser;

namespace {

// Each reader moves the cursor forward, so no loop may run more often than there are bytes.
template<typename Step>
void drain(qsizetype bound, Step step)
{
    qsizetype rounds = 0;
    while (step()) {
        if (++rounds > bound + 2)
            __builtin_trap(); // a reader stopped moving forward
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *input, size_t size)
{
    if (size == 0)
        return 0;
    const uint8_t flags = input[0];
    const QByteArray page(reinterpret_cast<const char *>(input + 1),
                          static_cast<qsizetype>(size - 1));
    const bool checkNoIndex = flags & 1;
    const bool checkNofollow = flags & 2;
    const bool images = flags & 4;
    const bool trim = flags & 8;
    const int mode = (flags >> 4) & 3;
    const bool counting = flags & 64;
    const bool highlight = flags & 128;
    const qsizetype bound = page.size();

    auto p = OrelParser::initWithData(page, QStringLiteral("fuzz"), true, false, checkNoIndex,
                                      checkNofollow);
    if (!p)
        return 0;
    p->setWordCounting(counting);
    if (mode == 1)
        p->setPlainTextMode();
    else if (mode == 2)
        p->setXMLMode();

    if (highlight) {
        const auto out = p->highlightBadink(
                QStringLiteral("http://fuzz.example/a"), OrelParser::backgroundStyle(1, 0, 0),
                QStringLiteral("http://fuzz.example/"), mode == 3, trim);
        if (out && out->size() < page.size())
            __builtin_trap(); // highlighting only ever inserts
        return 0;
    }

    drain(bound, [&] {
        const auto href = p->getNextHref(images, trim);
        if (!href)
            return false;
        (void)p->getData();
        (void)p->lastLinkWasNofollow();
        return true;
    });

    // The metadata finders and the other readers, each from a reset cursor.
    (void)p->findTitle();
    p->findKeywordsAndDescription();
    (void)p->findHeadings();
    (void)p->headContainsNoIndex();
    (void)p->headContainsNoFollow();
    (void)p->findBaseHref();
    p->reset();
    drain(bound, [&] { return p->findNextLinkHref().has_value(); });
    p->reset();
    drain(bound, [&] { return p->getNextImg().has_value(); });
    p->reset();
    drain(bound, [&] { return p->getNextScriptSrc().has_value(); });
    p->reset();
    drain(bound, [&] { return p->getNextHttp().has_value(); });
    p->reset();
    drain(bound, [&] {
        const auto tag = p->getTag(false);
        if (tag)
            (void)tag->contains(QStringLiteral("meta"));
        return tag != nullptr;
    });
    p->reset();
    drain(bound, [&] { return p->getItem() != nullptr; });

    // The fragment-name pass: its answer is sorted and unique whatever the bytes.
    const std::vector<quint64> names = orel::AnchorNames::scan(page);
    if (!std::is_sorted(names.begin(), names.end())
        || std::adjacent_find(names.begin(), names.end()) != names.end())
        __builtin_trap();
    (void)orel::AnchorNames::contains(
            names, QByteArrayView(page).first(std::min<qsizetype>(16, page.size())));

    QString text = QString::fromUtf8(page);
    (void)OrelParser::pullOutHref(text);
    (void)OrelParser::pullOutMetaDescription(text);
    OrelParser::unescapeEntities(text);
    return 0;
}
