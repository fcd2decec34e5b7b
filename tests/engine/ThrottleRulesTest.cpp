// The rules of throttling without a network: Retry-After, back-off, the blocked verdict and the
// per-host bookkeeping (caps, halving, spacing, the order of held links).
#include "engine/HostThrottle.h"
#include "links/ThrottleAnswer.h"

#include <gtest/gtest.h>

#include <QTimeZone>

using namespace orel;

namespace {

HeaderList headers(std::initializer_list<std::pair<const char *, const char *>> list)
{
    HeaderList h;
    for (const auto &[name, value] : list)
        h.append({ QByteArray(name), QByteArray(value) });
    return h;
}

LinkCheckerUrl *fake(int n)
{
    // Bookkeeping only compares the pointers; nothing is dereferenced.
    return reinterpret_cast<LinkCheckerUrl *>(quintptr(0x1000 + 16 * n));
}

} // namespace

TEST(ThrottleAnswer, RetryAfterReadsSecondsAndTheThreeDateForms)
{
    const QDateTime now(QDate(2026, 11, 24), QTime(5, 0, 0), QTimeZone::utc());
    const struct
    {
        const char *value;
        std::optional<double> seconds;
    } cases[] = {
        { "120", 120.0 },
        { " 0 ", 0.0 },
        { "Tue, 24 Nov 2026 05:00:30 GMT", 30.0 },
        { "Tuesday, 24-Nov-26 05:01:00 GMT", 60.0 },
        { "Tue Nov 24 05:00:05 2026", 5.0 },
        { "Tue, 24 Nov 2026 04:00:00 GMT", 0.0 }, // a date in the past: go now
        { "-5", std::nullopt },
        { "soon", std::nullopt },
        { "", std::nullopt },
    };
    for (const auto &c : cases)
        EXPECT_EQ(ThrottleAnswer::retryAfter(headers({ { "Retry-After", c.value } }), now),
                  c.seconds)
                << c.value;
    EXPECT_EQ(ThrottleAnswer::retryAfter({}, now), std::nullopt);
}

TEST(ThrottleAnswer, WaitsBackOffWithoutAWishAndNeverExceedAMinute)
{
    EXPECT_EQ(ThrottleAnswer::waitBeforeTry(std::nullopt, 2), 1.0);
    EXPECT_EQ(ThrottleAnswer::waitBeforeTry(std::nullopt, 3), 2.0);
    EXPECT_EQ(ThrottleAnswer::waitBeforeTry(3.0, 2), 3.0);
    EXPECT_EQ(ThrottleAnswer::waitBeforeTry(3600.0, 2), 60.0);
    EXPECT_EQ(ThrottleAnswer::waitBeforeTry(std::nullopt, 40), 60.0);
}

TEST(ThrottleAnswer, BlockedMeansThrottledOrChallengedNotMissing)
{
    const auto cf = headers({ { "CF-Mitigated", "challenge" } });
    const auto waf = headers({ { "x-amzn-waf-action", "captcha" } });
    const auto dd = headers({ { "X-DataDome", "protected" } });
    const auto plain = headers({ { "Server", "cloudflare" } });
    const struct
    {
        int code;
        HeaderList h;
        bool blocked;
    } cases[] = {
        { 429, {}, true },  { 999, {}, true },     { 403, cf, true },  { 503, waf, true },
        { 403, dd, true },  { 403, plain, false }, { 503, {}, false }, { 404, cf, false },
        { 200, cf, false }, { 500, dd, false },
    };
    for (const auto &c : cases)
        EXPECT_EQ(ThrottleAnswer::isBlockedAnswer(c.code, c.h), c.blocked) << c.code;
    EXPECT_TRUE(ThrottleAnswer::isThrottle(429) && ThrottleAnswer::isThrottle(503));
    EXPECT_FALSE(ThrottleAnswer::isThrottle(500));
}

TEST(HostThrottle, CapsHalveOncePerBurstAndSpacingHoldsAHostBack)
{
    HostThrottle t;
    EXPECT_FALSE(t.active(0, 0));
    EXPECT_TRUE(t.active(2, 0));
    EXPECT_EQ(HostThrottle::hostOf("http://Site.test:8080/a?b"), QStringLiteral("site.test:8080"));

    const QString a = "a.test", b = "b.test";
    t.started(fake(1), a, 0, 0, 0);
    t.started(fake(2), a, 0, 0, 0);
    EXPECT_TRUE(t.mayStart(a, 0, 0));
    EXPECT_FALSE(t.mayStart(a, 2, 0));
    EXPECT_TRUE(t.mayStart(b, 2, 0));

    // An uncapped host starts from the crawl's slots; a burst of answers halves once.
    t.throttled(a, 0, 8, 1000);
    t.throttled(a, 0, 8, 1500);
    EXPECT_EQ(t.capOf(a, 0), 4);
    EXPECT_EQ(t.capOf(a, 3), 3); // the setting still holds when lower
    t.throttled(a, 0, 8, 2600);
    t.throttled(a, 0, 8, 3700);
    t.throttled(a, 0, 8, 4800);
    EXPECT_EQ(t.capOf(a, 0), 1); // never below one
    EXPECT_TRUE(t.active(0, 0));
    EXPECT_FALSE(t.mayStart(a, 0, 0));
    t.finished(fake(1));
    t.finished(fake(1)); // a second end of the same fetch is not counted
    EXPECT_FALSE(t.mayStart(a, 0, 0));
    t.finished(fake(2));
    EXPECT_TRUE(t.mayStart(a, 0, 0));

    // Spacing: the next start waits the delay after the scheduled start.
    t.started(fake(3), b, 10000, 500, 2.0);
    t.finished(fake(3));
    EXPECT_FALSE(t.mayStart(b, 0, 12000));
    EXPECT_TRUE(t.mayStart(b, 0, 12500));

    t.clear(true);
    EXPECT_FALSE(t.active(0, 0));
    EXPECT_EQ(t.capOf(a, 0), 0);
}

TEST(HostThrottle, HeldLinksGoInOrderRetriesFirstAndWakeWhenTheirHostFreesUp)
{
    HostThrottle t;
    const QString a = "a.test", b = "b.test";
    t.hold(fake(1), a, false);
    t.hold(fake(2), b, false);
    t.hold(fake(3), a, false);
    t.hold(fake(4), a, true); // a retry jumps the host's queue
    EXPECT_EQ(t.heldCount(), 4);
    EXPECT_EQ(t.nextWake(0, 100), 100);
    EXPECT_EQ(t.takeReady(0, 100), fake(4));
    EXPECT_EQ(t.takeReady(0, 100), fake(1));

    // Host a is spaced out until 5000, so b's link goes first; then only the clock frees a.
    t.started(fake(1), a, 100, 0, 4.9);
    EXPECT_EQ(t.takeReady(0, 200), fake(2));
    EXPECT_EQ(t.takeReady(0, 200), nullptr);
    EXPECT_EQ(t.nextWake(0, 200), 5000);
    EXPECT_EQ(t.nextWake(1, 200), -1); // at its cap only an end of a fetch frees it
    EXPECT_EQ(t.takeReady(0, 5000), fake(3));
    EXPECT_EQ(t.heldCount(), 0);

    // Retry waits: counted, forgotten by a pause together with everything held.
    t.waitForRetry(fake(5), 3000);
    t.waitForRetry(fake(6), 9000);
    EXPECT_EQ(t.waitingCount(), 2);
    EXPECT_DOUBLE_EQ(t.longestWait(1000), 8.0);
    EXPECT_TRUE(t.retryDue(fake(5)));
    EXPECT_FALSE(t.retryDue(fake(5)));
    EXPECT_EQ(t.noteTry(fake(6)), 1);
    EXPECT_EQ(t.noteTry(fake(6)), 2);
    t.hold(fake(7), b, false);
    t.clear(false);
    EXPECT_EQ(t.waitingCount() + t.heldCount(), 0);
    EXPECT_EQ(t.noteTry(fake(6)), 3); // tries last the whole run
}
