#include "common/Plist.h"
#include "common/TextLists.h"

#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTimeZone>

using namespace orel;

namespace {

QVariantMap sample()
{
    QVariantMap inner;
    inner.insert(QStringLiteral("contains"), QStringLiteral("blog & <news>"));
    inner.insert(QStringLiteral("priority"), QStringLiteral("0.3"));
    QVariantMap m;
    m.insert(QStringLiteral("string"), QStringLiteral("caf\u00e9 \"quoted\" \u2603"));
    m.insert(QStringLiteral("empty"), QString());
    m.insert(QStringLiteral("int"), qint64(-9007199254740993LL));
    m.insert(QStringLiteral("real"), 0.1);
    m.insert(QStringLiteral("yes"), true);
    m.insert(QStringLiteral("no"), false);
    m.insert(QStringLiteral("date"),
        QVariant(QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58), QTimeZone::utc())));
    m.insert(QStringLiteral("data"), QByteArray("\x00\x01\xffhello", 8));
    m.insert(
        QStringLiteral("list"), QVariantList { QStringLiteral("a"), qint64(2), QVariant(inner) });
    m.insert(QStringLiteral("emptyList"), QVariantList {});
    m.insert(QStringLiteral("emptyDict"), QVariantMap {});
    return m;
}

QString runPython(const QString &script, const QStringList &args)
{
    QProcess p;
    p.start(QStringLiteral("python3"), QStringList { QStringLiteral("-c"), script } + args);
    if (!p.waitForFinished(30000))
        return QStringLiteral("python3 did not finish");
    return QString::fromUtf8(p.readAllStandardOutput() + p.readAllStandardError()).trimmed();
}

} // namespace

TEST(Plist, WriteThenReadGivesTheSameValues)
{
    const QVariantMap m = sample();
    QString error;
    const auto back = Plist::read(Plist::write(m), &error);
    ASSERT_TRUE(back) << error.toStdString();
    EXPECT_EQ(back->toMap(), m);
    // Integers keep 64 bits; reals come back as doubles.
    EXPECT_EQ(back->toMap().value(QStringLiteral("int")).typeId(), QMetaType::LongLong);
    EXPECT_EQ(back->toMap().value(QStringLiteral("real")).typeId(), QMetaType::Double);
}

TEST(Plist, OutputLooksLikeOtherToolsOutput)
{
    const QByteArray out
        = Plist::write(QVariantMap { { QStringLiteral("k"), QStringLiteral("v") } });
    EXPECT_TRUE(out.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\""))
        << out.constData();
    EXPECT_TRUE(
        out.contains("<plist version=\"1.0\">\n<dict>\n\t<key>k</key>\n\t<string>v</string>\n"
                     "</dict>\n</plist>"))
        << out.constData();
}

TEST(Plist, WrittenFileIsReadByPythonPlistlib)
{
    const QString path = test::home() + QStringLiteral("/ours.plist");
    QString error;
    ASSERT_TRUE(Plist::writeFile(path, sample(), &error)) << error.toStdString();
    const QString script = QStringLiteral(
        "import plistlib, sys, datetime\n"
        "d = plistlib.load(open(sys.argv[1], 'rb'))\n"
        "exp = {'string': 'caf\\u00e9 \"quoted\" \\u2603', 'empty': '', 'int': -9007199254740993,\n"
        "  'real': 0.1, 'yes': True, 'no': False,\n"
        "  'date': datetime.datetime(2024, 2, 29, 23, 59, 58),\n"
        "  'data': b'\\x00\\x01\\xffhello', 'list': ['a', 2, {'contains': 'blog & <news>',\n"
        "  'priority': '0.3'}], 'emptyList': [], 'emptyDict': {}}\n"
        "print('same' if d == exp else repr(d))\n");
    EXPECT_EQ(runPython(script, { path }), QStringLiteral("same"));
}

TEST(Plist, ReadsWhatPythonPlistlibWrote)
{
    const QString path = test::home() + QStringLiteral("/theirs.plist");
    const QString script = QStringLiteral(
        "import plistlib, sys, datetime\n"
        "d = {'string': 'caf\\u00e9 \"quoted\" \\u2603', 'empty': '', 'int': -9007199254740993,\n"
        "  'real': 0.1, 'yes': True, 'no': False,\n"
        "  'date': datetime.datetime(2024, 2, 29, 23, 59, 58),\n"
        "  'data': b'\\x00\\x01\\xffhello', 'list': ['a', 2, {'contains': 'blog & <news>',\n"
        "  'priority': '0.3'}], 'emptyList': [], 'emptyDict': {}}\n"
        "plistlib.dump(d, open(sys.argv[1], 'wb'))\n"
        "print('ok')\n");
    ASSERT_EQ(runPython(script, { path }), QStringLiteral("ok"));
    QString error;
    const auto v = Plist::readFile(path, &error);
    ASSERT_TRUE(v) << error.toStdString();
    EXPECT_EQ(v->toMap(), sample());
}

TEST(Plist, AcceptsOddButValidForms)
{
    struct Case
    {
        const char *xml;
        QVariant expected;
    };
    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
    const Case cases[] = {
        { "<string/>", QString() },
        { "<string>a &amp; b &#x41;</string>", QStringLiteral("a & b A") },
        { "<string><![CDATA[<x>]]></string>", QStringLiteral("<x>") },
        { "<!-- note --><integer> 0x1F </integer>", qint64(31) },
        { "<real>1e3</real>", 1000.0 },
        { "<date>2020-01-02Z</date>", QDateTime(QDate(2020, 1, 2), QTime(0, 0), QTimeZone::utc()) },
        { "<data>\n\taGVs\n\tbG8=\n</data>", QByteArray("hello") },
        { "<array><true/><false/></array>", QVariantList { true, false } },
    };
    for (const Case &c : cases) {
        QString error;
        const auto v = Plist::read(head + c.xml + "</plist>", &error);
        ASSERT_TRUE(v) << c.xml << ": " << error.toStdString();
        EXPECT_EQ(*v, c.expected) << c.xml;
    }
}

TEST(Plist, RefusesBadInputWithAReason)
{
    struct Case
    {
        const char *name;
        QByteArray xml;
        const char *reason; // part of the error text
    };
    const QByteArray head = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    const Case cases[] = {
        { "empty input", "", "" },
        { "truncated", head + "<dict><key>a</key><string>b</string>", "" },
        { "wrong root", "<?xml version=\"1.0\"?><dict/>", "root" },
        { "empty plist", head + "</plist>", "no value" },
        { "two roots", head + "<string/><string/></plist>", "more than one" },
        { "entity declared",
            "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\">]>"
            "<plist><string>&a;</string></plist>",
            "entit" },
        { "parameter entity",
            "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY % p \"x\">]><plist><true/></plist>",
            "entit" },
        { "undeclared entity", head + "<string>&nope;</string></plist>", "" },
        { "external entity",
            "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
            "<plist><string>&x;</string></plist>",
            "entit" },
        { "binary garbage", QByteArray("\x00\x9f\xff\x01<plist>", 11), "" },
        { "binary plist", QByteArray("bplist00\xd1\x01\x02", 11), "binary" },
        { "unknown element", head + "<set/></plist>", "unknown element" },
        { "key without value", head + "<dict><key>a</key></dict></plist>", "has no value" },
        { "key followed by key", head + "<dict><key>a</key><key>b</key><true/></dict></plist>",
            "has no value" },
        { "value without key", head + "<dict><string>x</string></dict></plist>", "<key>" },
        { "text in array", head + "<array>loose</array></plist>", "text" },
        { "element in string", head + "<string>a<b/></string></plist>", "unexpected element" },
        { "bad integer", head + "<integer>12abc</integer></plist>", "bad integer" },
        { "integer overflow", head + "<integer>99999999999999999999</integer></plist>",
            "bad integer" },
        { "bad real", head + "<real>one</real></plist>", "bad real" },
        { "bad date", head + "<date>2020-13-01T00:00:00Z</date></plist>", "bad date" },
        { "local date", head + "<date>2020-01-01T00:00:00</date></plist>", "bad date" },
        { "bad data", head + "<data>@@@@</data></plist>", "base64" },
        { "true with text", head + "<true>yes</true></plist>", "must be empty" },
        { "content after root", head + "<true/></plist><plist/>", "" },
    };
    for (const Case &c : cases) {
        QString error;
        const auto v = Plist::read(c.xml, &error);
        EXPECT_FALSE(v) << c.name;
        EXPECT_FALSE(error.isEmpty()) << c.name;
        EXPECT_TRUE(error.contains(QLatin1String(c.reason)))
            << c.name << ": " << error.toStdString();
    }
}

TEST(Plist, DeepNestingIsRefusedNotOverflowed)
{
    QByteArray xml = "<plist>";
    for (int i = 0; i < 100000; ++i)
        xml += "<array>";
    EXPECT_FALSE(Plist::read(xml));
}

TEST(Plist, FileErrorsAreReportedAndLeaveOldContent)
{
    QString error;
    EXPECT_FALSE(Plist::readFile(test::home() + QStringLiteral("/missing"), &error));
    EXPECT_TRUE(error.contains(QLatin1String("missing")));
    error.clear();
    EXPECT_FALSE(Plist::writeFile(test::home() + QStringLiteral("/no/such/dir/x"), true, &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST(TextLists, TrimEachItemInArray)
{
    const QStringList in { QStringLiteral(" a "), QStringLiteral("\n"), QStringLiteral("b\r\n"),
        QString(), QStringLiteral("\tc d\t") };
    EXPECT_EQ(trimEachItemInArray(in),
        (QStringList { QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c d") }));
}
