// The rules of one host's robots.txt for one crawler, read as RFC 9309 reads them; any thread
// (immutable once parsed).
#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace orel {

// Groups start with one or more "user-agent" lines; the rules of every group naming the
// crawler's product token apply, else those of the "*" groups, else none (everything allowed).
// A path is allowed unless its longest matching rule is a disallow; on equally long matches an
// allow wins. Patterns know "*" (any characters) and a final "$" (end of the path).
class RobotsTxt
{
public:
    // Allows everything: no robots.txt, or one that could not be found (4xx).
    RobotsTxt() = default;
    // Reads the file's text (its first 500 KiB, as the RFC lets a crawler limit it) for the
    // crawler whose user agent is given; its product token is the part before the first "/"
    // or blank.
    static RobotsTxt parse(const QByteArray &text, const QString &userAgent);
    // Disallows everything: a robots.txt that the server failed to give (5xx, no answer).
    static RobotsTxt disallowAll();

    // pathAndQuery: the URL's path with its query, as sent in the request ("/a/b?x=1").
    bool allowed(const QString &pathAndQuery) const;

    // The product token a user-agent line is compared with: "Orrelwick/2.1 (+https://…)" →
    // "orrelwick".
    static QString productToken(const QString &userAgent);

private:
    struct Rule
    {
        QByteArray pattern; // normalised octets, see normalise()
        bool allow = false;
    };
    // Percent-encoded unreserved characters decoded, other escapes in upper case, other octets
    // outside the unreserved and reserved sets escaped: the same path written two ways compares
    // equal.
    static QByteArray normalise(const QByteArray &path);
    static bool matches(const QByteArray &pattern, const QByteArray &path);

    std::vector<Rule> m_rules;
};

} // namespace orel
