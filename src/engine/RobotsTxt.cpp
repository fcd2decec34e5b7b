#include "engine/RobotsTxt.h"

#include <QList>

namespace orel {

namespace {

struct Group
{
    QList<QString> agents; // product tokens, lower case
    QList<QByteArray> lines; // "allow:PATTERN" / "disallow:PATTERN", in file order
};

bool isUnreserved(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-'
            || c == '.' || c == '_' || c == '~';
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

void appendEscaped(QByteArray &out, unsigned char c)
{
    static const char digits[] = "0123456789ABCDEF";
    out += '%';
    out += digits[c >> 4];
    out += digits[c & 15];
}

// Splits the file into groups; lines before the first user-agent line belong to none.
QList<Group> readGroups(const QByteArray &text)
{
    QList<Group> groups;
    bool groupHasRules = false;
    for (QByteArray line : text.split('\n')) {
        if (const qsizetype hash = line.indexOf('#'); hash >= 0)
            line.truncate(hash);
        const qsizetype colon = line.indexOf(':');
        if (colon < 0)
            continue;
        const QByteArray key = line.left(colon).trimmed().toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (key == "user-agent") {
            if (groups.isEmpty() || groupHasRules)
                groups.append(Group());
            groupHasRules = false;
            groups.last().agents.append(
                    RobotsTxt::productToken(QString::fromUtf8(value)).toLower());
        } else if (key == "allow" || key == "disallow") {
            if (groups.isEmpty())
                continue;
            groupHasRules = true;
            groups.last().lines.append(key + ':' + value);
        }
    }
    return groups;
}

} // namespace

QString RobotsTxt::productToken(const QString &userAgent)
{
    const QString trimmed = userAgent.trimmed();
    qsizetype end = 0;
    while (end < trimmed.size() && trimmed[end] != QLatin1Char('/') && !trimmed[end].isSpace())
        ++end;
    return trimmed.left(end);
}

RobotsTxt RobotsTxt::parse(const QByteArray &text, const QString &userAgent)
{
    constexpr qsizetype Limit = 500 * 1024;
    const QList<Group> groups = readGroups(text.left(Limit));
    const QString token = productToken(userAgent).toLower();
    // The crawler's own groups, all of them; only without one the groups for every crawler.
    const auto rulesFor = [&](const QString &agent) {
        QList<QByteArray> lines;
        bool named = false;
        for (const Group &g : groups) {
            if (g.agents.contains(agent)) {
                named = true;
                lines += g.lines;
            }
        }
        return std::make_pair(named, lines);
    };
    auto [named, lines] = rulesFor(token);
    if (!named || token.isEmpty())
        lines = rulesFor(QStringLiteral("*")).second;

    RobotsTxt robots;
    for (const QByteArray &line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        QByteArray pattern = line.mid(colon + 1);
        if (pattern.isEmpty())
            continue; // "Disallow:" with nothing after it disallows nothing
        if (pattern[0] != '/' && pattern[0] != '*')
            pattern.prepend('/');
        robots.m_rules.push_back({ normalise(pattern), line.startsWith("allow") });
    }
    return robots;
}

RobotsTxt RobotsTxt::disallowAll()
{
    RobotsTxt robots;
    robots.m_rules.push_back({ QByteArrayLiteral("/"), false });
    return robots;
}

QByteArray RobotsTxt::normalise(const QByteArray &path)
{
    QByteArray out;
    out.reserve(path.size());
    for (qsizetype i = 0; i < path.size(); ++i) {
        const auto c = static_cast<unsigned char>(path[i]);
        if (c == '%' && i + 2 < path.size() && hexValue(path[i + 1]) >= 0
            && hexValue(path[i + 2]) >= 0) {
            const auto decoded =
                    static_cast<unsigned char>(hexValue(path[i + 1]) * 16 + hexValue(path[i + 2]));
            if (isUnreserved(char(decoded)))
                out += char(decoded);
            else
                appendEscaped(out, decoded);
            i += 2;
        } else if (c <= 0x20 || c >= 0x7f) {
            appendEscaped(out, c);
        } else {
            out += char(c);
        }
    }
    return out;
}

// The pattern matches a beginning of the path ("*" any run of octets), or the whole path when
// it ends in "$". Greedy with one point to go back to, as a glob match: linear in practice.
bool RobotsTxt::matches(const QByteArray &pattern, const QByteArray &path)
{
    const bool anchored = pattern.endsWith('$');
    const qsizetype plen = pattern.size() - (anchored ? 1 : 0);
    qsizetype p = 0, s = 0, star = -1, resume = 0;
    while (true) {
        if (p == plen && (!anchored || s == path.size()))
            return true;
        if (p < plen && pattern[p] == '*') {
            star = p++;
            resume = s;
        } else if (p < plen && s < path.size() && pattern[p] == path[s]) {
            ++p;
            ++s;
        } else if (star >= 0 && resume < path.size()) {
            p = star + 1;
            s = ++resume;
        } else {
            return false;
        }
    }
}

bool RobotsTxt::allowed(const QString &pathAndQuery) const
{
    if (m_rules.empty() || pathAndQuery == QLatin1String("/robots.txt"))
        return true;
    const QByteArray path =
            normalise(pathAndQuery.isEmpty() ? QByteArrayLiteral("/") : pathAndQuery.toUtf8());
    qsizetype longest = -1;
    bool allow = true;
    for (const Rule &rule : m_rules) {
        const qsizetype length = rule.pattern.size();
        if (length < longest || (length == longest && allow) || !matches(rule.pattern, path))
            continue;
        longest = length;
        allow = rule.allow;
    }
    return allow;
}

} // namespace orel
