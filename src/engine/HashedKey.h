// A registry key that carries its hash, so that a table probe compares hashes before text; main
// thread.
#pragma once

#include <QHash>
#include <QString>

namespace orel {

// Probes of a crowded table meet other keys; comparing their stored hashes first avoids reading
// each one's text, which is rarely in the cache. Made implicitly from a QString so that lookups
// read as before; the hash uses the process-wide seed, as QHash itself does.
class HashedKey
{
public:
    HashedKey(const QString &text) : m_text(text), m_hash(hashOf(text)) { }
    // With the hash already worked out by hashOf(text).
    HashedKey(const QString &text, size_t hash) : m_text(text), m_hash(hash) { }

    static size_t hashOf(const QString &text) { return qHash(text, QHashSeed::globalSeed()); }

    const QString &text() const { return m_text; }
    size_t hash() const { return m_hash; }

    friend bool operator==(const HashedKey &a, const HashedKey &b)
    {
        return a.m_hash == b.m_hash && a.m_text == b.m_text;
    }

private:
    QString m_text;
    size_t m_hash;
};

inline size_t qHash(const HashedKey &key, size_t /*seed: already in the stored hash*/)
{
    return key.hash();
}

} // namespace orel
