#include "ConfigTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

using namespace orel;

namespace {

struct CliResult
{
    int exitCode = -1;
    QString out, err;
};

// Runs the built program's "config" command against its own store inside the test home.
class ConfigCliTest : public test::ConfigTest
{
protected:
    void SetUp() override
    {
        ConfigTest::SetUp();
        if (!QFileInfo::exists(QStringLiteral(ORRELWICK_CLI_PATH)))
            GTEST_SKIP() << "orrelwick-cli has not been built";
        QDir().mkpath(store);
        const QVariantMap blog { { u"contains"_s, u"blog"_s }, { u"priority"_s, u"0.3"_s },
            { u"update"_s, u"daily"_s } };
        ASSERT_TRUE(Plist::writeFile(store + u"/httpexampletest"_s,
            QVariantMap { { u"url"_s, u"http://example.test/"_s }, { u"name"_s, u"Example site"_s },
                { u"checkBlacklist"_s, u"logout , print"_s }, { u"timeOut"_s, u"0"_s },
                { u"status"_s, u"no bad links"_s },
                { u"sitemapRules"_s, QVariantList { blog } } }));
    }

    CliResult cli(const QStringList &args) const
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"ORRELWICK_HOME"_s, store);
        env.insert(u"ASAN_OPTIONS"_s, u"detect_leaks=0"_s);
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(ORRELWICK_CLI_PATH), QStringList { u"config"_s } + args);
        CliResult r;
        if (p.waitForFinished(60000))
            r = { p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
                QString::fromUtf8(p.readAllStandardError()) };
        return r;
    }

    const QString store = test::home() + u"/cli-home"_s;
};

} // namespace

TEST_F(ConfigCliTest, ListsAndShowsSortedSettingsAsLoaded)
{
    CliResult r = cli({ u"list"_s });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, u"Example site\thttp://example.test/\thttpexampletest\n"_s);
    EXPECT_TRUE(r.err.isEmpty()) << r.err.toStdString();

    for (const QString &name : { u"Example site"_s, u"httpexampletest"_s }) {
        r = cli({ u"show"_s, name });
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        for (const QString &expected : { u"checkBlacklist = logout,print"_s,
                 u"timeOut = 30"_s, // the load rules were applied
                 u"status = no bad links"_s,
                 u"sitemapRules = contains=blog priority=0.3 update=daily"_s })
            EXPECT_TRUE(lines.contains(expected)) << expected.toStdString();
        QStringList keys;
        for (const QString &line : lines)
            keys.append(line.section(u" = "_s, 0, 0));
        QStringList sorted = keys;
        std::sort(sorted.begin(), sorted.end(), [](const QString &a, const QString &b) {
            return a.compare(b, Qt::CaseInsensitive) < 0;
        });
        EXPECT_EQ(keys, sorted);
    }
}

TEST_F(ConfigCliTest, ExportThenImportMakesASecondConfiguration)
{
    const QString exported = test::home() + u"/example.lcsettings"_s;
    CliResult r = cli({ u"export"_s, u"Example site"_s, exported });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(readPlist(exported).value(u"url"_s), u"http://example.test/"_s);

    r = cli({ u"import"_s, exported });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, u"httpexampletest-1\n"_s);
    EXPECT_EQ(cli({ u"list"_s }).out.count(u'\n'), 2);
}

TEST_F(ConfigCliTest, MistakesGiveOneLineAndStatusTwo)
{
    const QString h = test::home();
    writeBytes(h + u"/garbage.lcsettings"_s, "<plist><dict><key>url</key></dict></plist>");
    const QStringList cases[] = {
        {},
        { u"frobnicate"_s },
        { u"show"_s },
        { u"show"_s, u"No such site"_s },
        { u"export"_s, u"Example site"_s },
        { u"export"_s, u"Nope"_s, h + u"/x"_s },
        { u"export"_s, u"Example site"_s, h + u"/no/such/dir/x.lcsettings"_s },
        { u"import"_s, h + u"/missing.lcsettings"_s },
        { u"import"_s, h + u"/garbage.lcsettings"_s },
        { u"list"_s, u"extra"_s },
    };
    for (const QStringList &args : cases) {
        const CliResult r = cli(args);
        const std::string what = args.join(u' ').toStdString() + ": " + r.err.toStdString();
        EXPECT_EQ(r.exitCode, 2) << what;
        EXPECT_TRUE(r.out.isEmpty()) << what;
        EXPECT_TRUE(r.err.startsWith(QLatin1String("orrelwick-cli: "))) << what;
        EXPECT_EQ(r.err.count(u'\n'), 1) << what;
    }
}
