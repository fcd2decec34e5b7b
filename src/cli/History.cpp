// The history of crawls by start URL and the comparison of a run with an earlier one.
#include "History.h"

#include "common/AppSupport.h"
#include "common/PrivateFile.h"
#include "common/UrlParts.h"
#include "links/LinkCheckerUrl.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <algorithm>

namespace orel::cli {

namespace {

// Links are told apart by their URL as others may see it: the history never holds a password.
QString keyOf(const QString &url)
{
    return UrlParts::withoutUserInfo(url);
}

bool failing(Verdict v)
{
    return v != Verdict::Good;
}

} // namespace

bool readPreviousRun(const QString &path, PreviousRun &run, QString *error)
{
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot be read");
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        *error = QStringLiteral("not JSON (%1 at byte %2)")
                         .arg(parseError.errorString())
                         .arg(parseError.offset);
        return false;
    }
    const QJsonValue links = doc.object().value(QLatin1String("links"));
    if (!doc.isObject() || !links.isArray()) {
        *error = QStringLiteral("not a JSON report of orrelwick-cli (no \"links\" list)");
        return false;
    }
    run = PreviousRun();
    run.start = doc.object().value(QLatin1String("start")).toString();
    for (const QJsonValue &value : links.toArray()) {
        const QJsonObject link = value.toObject();
        const QString url = link.value(QLatin1String("url")).toString();
        const QString verdict = link.value(QLatin1String("verdict")).toString();
        const bool bad = verdict == QLatin1String("bad");
        if (url.isEmpty()
            || (!bad && verdict != QLatin1String("blocked") && verdict != QLatin1String("good"))) {
            *error = QStringLiteral("not a JSON report of orrelwick-cli (a link without "
                                    "\"url\" or \"verdict\")");
            return false;
        }
        if (verdict == QLatin1String("good"))
            continue;
        run.failing.insert(keyOf(url),
                           { link.value(QLatin1String("status")).toString(),
                             bad ? Verdict::Bad : Verdict::Blocked });
    }
    run.present = true;
    return true;
}

QString historyFile(const QString &startUrl)
{
    const QByteArray hash =
            QCryptographicHash::hash(keyOf(startUrl).toUtf8(), QCryptographicHash::Sha256);
    return AppSupport::folder() + QStringLiteral("/history/")
            + QString::fromLatin1(hash.toHex().left(32)) + QStringLiteral(".json");
}

void compareWithPrevious(Report &report, const PreviousRun &previous, bool complete)
{
    report.compared = true;
    report.previousSource = previous.source;
    report.changes.clear();
    report.fixed.clear();
    report.newBad = report.newBlocked = 0;
    QSet<QString> seen;
    seen.reserve(previous.failing.size());
    for (const LinkCheckerUrl *r : report.links) {
        const Verdict v = verdictOf(*r);
        const auto before = previous.failing.constFind(keyOf(r->getLinkUrl()));
        const bool wasFailing = before != previous.failing.cend();
        if (wasFailing)
            seen.insert(before.key());
        if (failing(v)) {
            Change change = v == Verdict::Bad ? Change::StillBad : Change::StillBlocked;
            if (!wasFailing) {
                change = Change::New;
                ++(v == Verdict::Bad ? report.newBad : report.newBlocked);
            }
            report.changes.insert(r, change);
        } else if (wasFailing && !r->getStatus().isEmpty()) {
            // Checked and good now; a link not checked yet tells nothing.
            report.changes.insert(r, Change::Fixed);
            report.fixed.append({ before.key(), before->status, true });
        }
    }
    if (complete) {
        // In URL order: the earlier run's links come from a hash.
        const qsizetype linked = report.fixed.size();
        for (auto it = previous.failing.cbegin(); it != previous.failing.cend(); ++it) {
            if (!seen.contains(it.key()))
                report.fixed.append({ it.key(), it->status, false });
        }
        std::sort(report.fixed.begin() + linked, report.fixed.end(),
                  [](const Report::FixedLink &a, const Report::FixedLink &b) {
                      return a.url < b.url;
                  });
    }
    report.summary = composeSummary(report);
}

bool writeHistory(const Report &report, const PreviousRun &history, bool complete, QString *error)
{
    QJsonArray links;
    QSet<QString> checked;
    for (const LinkCheckerUrl *r : report.links) {
        if (r->getStatus().isEmpty())
            continue;
        const QString key = keyOf(r->getLinkUrl());
        if (!complete)
            checked.insert(key);
        const Verdict v = verdictOf(*r);
        if (failing(v))
            links.append(QJsonObject { { QStringLiteral("url"), key },
                                       { QStringLiteral("status"), r->getStatus() },
                                       { QStringLiteral("verdict"), verdictName(v) } });
    }
    // What an interrupted or limited run did not check stays as the earlier run saw it.
    if (!complete) {
        for (auto it = history.failing.cbegin(); it != history.failing.cend(); ++it) {
            if (!checked.contains(it.key()))
                links.append(
                        QJsonObject { { QStringLiteral("url"), it.key() },
                                      { QStringLiteral("status"), it->status },
                                      { QStringLiteral("verdict"), verdictName(it->verdict) } });
        }
    }
    const QJsonObject record {
        { QStringLiteral("start"), keyOf(report.start) },
        { QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate) },
        { QStringLiteral("complete"), complete },
        { QStringLiteral("summary"), report.summary },
        { QStringLiteral("links"), links },
    };
    const QString path = historyFile(report.start);
    if (!PrivateFile::makeFolder(QFileInfo(path).path())) {
        *error = QStringLiteral("cannot make the folder %1").arg(QFileInfo(path).path());
        return false;
    }
    return PrivateFile::write(path, QJsonDocument(record).toJson(QJsonDocument::Compact), error);
}

QStringList compareAndRecord(Report &report, const ReportOptions &o, const PreviousRun &baseline,
                             bool complete)
{
    QStringList warnings;
    report.failOnNew = o.failOnNew;
    PreviousRun history;
    if (!o.noHistory && !report.start.isEmpty()) {
        const QString path = historyFile(report.start);
        QString error;
        if (QFileInfo::exists(path) && !readPreviousRun(path, history, &error)) {
            warnings.append(QStringLiteral("the history of %1 is %2: compared with no earlier "
                                           "run, and replaced")
                                    .arg(keyOf(report.start), error));
            history = PreviousRun();
        }
        history.source = QStringLiteral("history");
    }
    if (baseline.present)
        compareWithPrevious(report, baseline, complete);
    else if (history.present)
        compareWithPrevious(report, history, complete);
    if (!o.noHistory && !report.start.isEmpty()) {
        QString error;
        if (!writeHistory(report, history, complete, &error))
            warnings.append(QStringLiteral("cannot record the history of %1: %2")
                                    .arg(keyOf(report.start), error));
    }
    return warnings;
}

} // namespace orel::cli
