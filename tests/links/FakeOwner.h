// A link owner that records every message it receives, in order; main thread.
#pragma once

#include "links/LinkCheckerUrl.h"
#include "links/LinkOwner.h"

#include <QStringList>

#include <functional>
#include <vector>

namespace orel::test {

class FakeOwner : public LinkOwner
{
public:
    // Answers the record's questions.
    bool stop_ = false;
    bool rechecking = false;
    bool trim = false;
    bool ignoreSlash = false;
    bool flagBlacklisted = false;
    bool archive = false;
    bool soft404Check = false;
    bool soft404Answer = false;
    bool titles = false;
    bool highlight = false;
    int linksOnPage = 0;
    // Run posted work through the event loop (live transfers) instead of holding it.
    bool realLater = false;

    // Messages received, in order: "incNumberDone", "addToLookup:<key>", ...
    QStringList calls;
    // Work posted with later(), not run until runPosted().
    std::vector<std::function<void()>> posted;

    void runPosted()
    {
        auto work = std::move(posted);
        posted.clear();
        for (auto &fn : work)
            fn();
    }

    void threadHasFinished(LinkCheckerUrl *) override
    {
        calls << QStringLiteral("threadHasFinished");
    }
    void incNumberDone(LinkCheckerUrl *) override { calls << QStringLiteral("incNumberDone"); }
    void statusHasChangedFordO(LinkCheckerUrl *) override
    {
        calls << QStringLiteral("statusHasChangedFordO");
    }
    void extractLinks(LinkCheckerUrl *record) override
    {
        // The body must still be there while the owner parses it.
        calls << QStringLiteral("extractLinks:%1").arg(record->getData().size());
    }
    void incNumberValidated(LinkCheckerUrl *) override
    {
        calls << QStringLiteral("incNumberValidated");
    }
    void addToLookup(LinkCheckerUrl *, const QString &key) override
    {
        calls << QStringLiteral("addToLookup:") + key;
    }
    void addLink(LinkCheckerUrl *, const QString &page) override
    {
        calls << QStringLiteral("addLink:") + page;
    }
    bool performSoft404CheckOnThisUrl(LinkCheckerUrl *) override
    {
        calls << QStringLiteral("performSoft404CheckOnThisUrl");
        return soft404Answer;
    }
    bool shouldPerformSoft404Check() const override { return soft404Check; }
    void archivePage(LinkCheckerUrl *) override { calls << QStringLiteral("archivePage"); }
    bool shouldArchive() const override { return archive; }
    void resetDomain(LinkCheckerUrl *record) override
    {
        calls << QStringLiteral("resetDomain:") + record->getActualLinkUrl();
    }
    void emergencyMemoryStop() override { calls << QStringLiteral("emergencyMemoryStop"); }
    void stop() override { calls << QStringLiteral("stop"); }
    bool stopPressed() const override { return stop_; }
    bool isRechecking() const override { return rechecking; }
    bool shouldTrim() const override { return trim; }
    bool shouldIgnoreSlash() const override { return ignoreSlash; }
    bool shouldTrimSpaces() const override { return false; }
    bool getIgnoreQS() const override { return trim; }
    bool isPlainTextMode() const override { return false; }
    bool shouldFlagBlacklisted() const override { return flagBlacklisted; }
    double getTimeoutInterval() const override { return 30; }
    bool displayPageTitle() const override { return titles; }
    bool shouldHighlight() const override { return highlight; }
    int numberOfLinksOnThisPage(const QString &) const override { return linksOnPage; }
    void showInspector(LinkCheckerUrl *) override { calls << QStringLiteral("showInspector"); }
    void highlightBadLinksInSelectedPage(LinkCheckerUrl *) override
    {
        calls << QStringLiteral("highlightBadLinksInSelectedPage");
    }
    void later(std::function<void()> fn) override
    {
        if (realLater)
            LinkOwner::later(std::move(fn));
        else
            posted.push_back(std::move(fn));
    }
};

} // namespace orel::test
