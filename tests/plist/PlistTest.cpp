#include "common/Plist.h"

#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QProcess>
#include <QTimeZone>

using namespace orel;
using namespace Qt::StringLiterals;

namespace {

// Every value type, with text that needs escaping, a 64-bit integer and empty containers.
QVariantMap sample()
{
    const QVariantMap inner { { u"contains"_s, u"blog & <news>"_s }, { u"priority"_s, u"0.3"_s } };
    return { { u"string"_s, u"caf\u00e9 \"quoted\" \u2603"_s },
             { u"empty"_s, QString() },
             { u"int"_s, qint64(-9007199254740993LL) },
             { u"real"_s, 0.1 },
             { u"yes"_s, true },
             { u"no"_s, false },
             { u"date"_s, QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58), QTimeZone::utc()) },
             { u"data"_s, QByteArray("\x00\x01\xffhello", 8) },
             { u"list"_s, QVariantList { u"a"_s, qint64(2), inner } },
             { u"emptyList"_s, QVariantList {} },
             { u"emptyDict"_s, QVariantMap {} } };
}

} // namespace

// Python's plistlib reads what we write, and we read what it writes.
TEST(Plist, WritesTheUsualLayoutAndExchangesFilesWithPythonPlistlib)
{
    const QByteArray out = Plist::write(QVariantMap { { u"k"_s, u"v"_s } });
    EXPECT_TRUE(out.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\""))
            << out.constData();
    EXPECT_TRUE(
            out.contains("<plist version=\"1.0\">\n<dict>\n\t<key>k</key>\n\t<string>v</string>\n"
                         "</dict>\n</plist>"))
            << out.constData();

    const QString ours = test::home() + u"/ours.plist"_s,
                  theirs = test::home() + u"/theirs.plist"_s;
    QString error;
    ASSERT_TRUE(Plist::writeFile(ours, sample(), &error)) << error.toStdString();
    const QString script = uR"(import plistlib, sys, datetime
exp = {'string': 'caf\u00e9 "quoted" \u2603', 'empty': '', 'int': -9007199254740993,
  'real': 0.1, 'yes': True, 'no': False, 'date': datetime.datetime(2024, 2, 29, 23, 59, 58),
  'data': b'\x00\x01\xffhello', 'list': ['a', 2, {'contains': 'blog & <news>', 'priority': '0.3'}],
  'emptyList': [], 'emptyDict': {}}
d = plistlib.load(open(sys.argv[1], 'rb'))
plistlib.dump(exp, open(sys.argv[2], 'wb'))
print('same' if d == exp else repr(d)))"_s;
    QProcess p;
    p.start(u"python3"_s, { u"-c"_s, script, ours, theirs });
    ASSERT_TRUE(p.waitForFinished(30000));
    EXPECT_EQ(QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError()).trimmed(),
              u"same"_s);
    const QVariantMap back = Plist::readFile(theirs, &error).value_or(QVariant()).toMap();
    EXPECT_EQ(back, sample()) << error.toStdString();
    // Integers keep 64 bits; reals come back as doubles.
    EXPECT_EQ(back.value(u"int"_s).typeId(), QMetaType::LongLong);
    EXPECT_EQ(back.value(u"real"_s).typeId(), QMetaType::Double);
}

TEST(Plist, AcceptsOddButValidForms)
{
    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
    const std::pair<const char *, QVariant> cases[] = {
        { "<string/>", QString() },
        { "<string>a &amp; b &#x41;</string>", u"a & b A"_s },
        { "<string><![CDATA[<x>]]></string>", u"<x>"_s },
        { "<!-- note --><integer> 0x1F </integer>", qint64(31) },
        { "<real>1e3</real>", 1000.0 },
        { "<date>2020-01-02Z</date>", QDateTime(QDate(2020, 1, 2), QTime(0, 0), QTimeZone::utc()) },
        { "<data>\n\taGVs\n\tbG8=\n</data>", QByteArray("hello") },
        { "<array><true/><false/></array>", QVariantList { true, false } }
    };
    for (const auto &[xml, expected] : cases) {
        QString error;
        EXPECT_EQ(Plist::read(head + xml + "</plist>", &error).value_or(QVariant()), expected)
                << xml << ": " << error.toStdString();
    }
}

TEST(Plist, RefusesBadInputWithAReason)
{
    const QByteArray deep = "<plist>" + QByteArray("<array>").repeated(100000);
    const QByteArray entity = "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY ";
    const std::tuple<const char *, QByteArray, const char *> documents[] = {
        // name, input, reason
        { "empty input", "", "" },
        { "wrong root", "<?xml version=\"1.0\"?><dict/>", "root" },
        { "entity declared", entity + "a \"aaaaaaaaaa\">]><plist><string>&a;</string></plist>",
          "entit" },
        { "parameter entity", entity + "% p \"x\">]><plist><true/></plist>", "entit" },
        { "external entity",
          entity + "x SYSTEM \"file:///etc/passwd\">]><plist><string>&x;</string></plist>",
          "entit" },
        { "binary garbage", QByteArray("\x00\x9f\xff\x01<plist>", 11), "" },
        { "binary plist", QByteArray("bplist00\xd1\x01\x02", 11), "binary" },
        { "deep nesting (refused, no stack overflow)", deep, "" }
    };
    // The body of a <plist> element, part of the reason.
    const char *const bodies[][2] = {
        { "<dict><key>a</key><string>b</string>", "" },
        { "", "no value" },
        { "<string/><string/>", "more than one" },
        { "<string>&nope;</string>", "" },
        { "<set/>", "unknown element" },
        { "<dict><key>a</key></dict>", "has no value" },
        { "<dict><string>x</string></dict>", "<key>" },
        { "<array>loose</array>", "text" },
        { "<string>a<b/></string>", "unexpected element" },
        { "<integer>12abc</integer>", "bad integer" },
        { "<integer>99999999999999999999</integer>", "bad integer" },
        { "<real>one</real>", "bad real" },
        { "<date>2020-13-01T00:00:00Z</date>", "bad date" },
        { "<date>2020-01-01T00:00:00</date>", "bad date" },
        { "<data>@@@@</data>", "base64" },
        { "<true>yes</true>", "must be empty" },
        { "<true/></plist><plist/>", "" },
    };
    auto refused = [](const char *name, const QByteArray &xml, const char *reason) {
        QString error;
        EXPECT_FALSE(Plist::read(xml, &error)) << name;
        EXPECT_FALSE(error.isEmpty()) << name;
        EXPECT_TRUE(error.contains(QLatin1String(reason))) << name << ": " << error.toStdString();
    };
    for (const auto &[name, xml, reason] : documents)
        refused(name, xml, reason);
    for (const auto &[body, reason] : bodies)
        refused(body,
                "<?xml version=\"1.0\"?><plist version=\"1.0\">" + QByteArray(body) + "</plist>",
                reason);
}
