#include "common/Localize.h"

#include <QCoreApplication>

#include <atomic>
#include <deque>
#include <utility>

namespace orel {

QString localized(const char *text)
{
    return QCoreApplication::translate("Orrelwick", text);
}

QString localizedKestovan(const char *text)
{
    return QCoreApplication::translate("Kestovan", text);
}

namespace {

std::atomic<quint64> g_translations { 0 };

quint64 translationsGeneration()
{
    return g_translations.load(std::memory_order_acquire);
}

} // namespace

const QString &localizedOften(const char *text)
{
    // A translation lookup takes the application's translators' lock and converts the key. The
    // few texts asked for this way are found by the address of their literal; a deque keeps
    // each answer in place while others are added.
    struct Cache
    {
        quint64 translations = 0;
        std::deque<std::pair<const char *, QString>> texts;
    };
    thread_local Cache cache;
    const quint64 now = translationsGeneration();
    if (cache.translations != now) {
        cache.texts.clear();
        cache.translations = now;
    }
    for (const auto &[key, translation] : cache.texts) {
        if (key == text)
            return translation;
    }
    return cache.texts.emplace_back(text, localized(text)).second;
}

void translationsChanged()
{
    g_translations.fetch_add(1, std::memory_order_acq_rel);
}

} // namespace orel
