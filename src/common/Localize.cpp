#include "common/Localize.h"

#include <QCoreApplication>
#include <QHash>

#include <atomic>

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

} // namespace

QString localizedOften(const char *text)
{
    // A translation lookup takes the application's translators' lock and converts the key.
    struct Cache
    {
        quint64 translations = 0;
        QHash<const char *, QString> texts; // by the key's address: the callers pass literals
    };
    thread_local Cache cache;
    const quint64 now = translationsGeneration();
    if (cache.translations != now) {
        cache.texts.clear();
        cache.translations = now;
    }
    auto it = cache.texts.constFind(text);
    if (it == cache.texts.cend())
        it = cache.texts.insert(text, localized(text));
    return *it;
}

quint64 translationsGeneration()
{
    return g_translations.load(std::memory_order_acquire);
}

void translationsChanged()
{
    g_translations.fetch_add(1, std::memory_order_acq_rel);
}

} // namespace orel
