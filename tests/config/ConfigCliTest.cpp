#include "ConfigTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

using namespace orel;

namespace {

struct CliResult
{
    int exitCode = -1;
    QString out;
    QString err;
};

class ConfigCliTest : public test::ConfigTest
{
protected:
    void SetUp() override
    {
        ConfigTest::SetUp();
        if (!QFileInfo::exists(QStringLiteral(ORRELWICK_CLI_PATH)))
            GTEST_SKIP() << "orrelwick-cli has not been built";
        store = test::home() + QStringLiteral("/cli-home");
        QDir().mkpath(store);
        ASSERT_TRUE(Plist::writeFile(store + QStringLiteral("/httpexampletest"),
            QVariantMap { { QStringLiteral("url"), QStringLiteral("http://example.test/") },
                { QStringLiteral("name"), QStringLiteral("Example site") },
                { QStringLiteral("checkBlacklist"), QStringLiteral("logout , print") },
                { QStringLiteral("timeOut"), QStringLiteral("0") },
                { QStringLiteral("status"), QStringLiteral("no bad links") },
                { QStringLiteral("sitemapRules"),
                    QVariantList {
                        QVariantMap { { QStringLiteral("contains"), QStringLiteral("blog") },
                            { QStringLiteral("priority"), QStringLiteral("0.3") },
                            { QStringLiteral("update"), QStringLiteral("daily") } } } } }));
    }

    CliResult cli(const QStringList &args) const
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("ORRELWICK_HOME"), store);
        env.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
        p.setProcessEnvironment(env);
        p.start(
            QStringLiteral(ORRELWICK_CLI_PATH), QStringList { QStringLiteral("config") } + args);
        CliResult r;
        if (!p.waitForFinished(60000))
            return r;
        r.exitCode = p.exitCode();
        r.out = QString::fromUtf8(p.readAllStandardOutput());
        r.err = QString::fromUtf8(p.readAllStandardError());
        return r;
    }

    QString store;
};

} // namespace

TEST_F(ConfigCliTest, ListsOneLinePerConfiguration)
{
    const CliResult r = cli({ QStringLiteral("list") });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, QStringLiteral("Example site\thttp://example.test/\thttpexampletest\n"));
    EXPECT_TRUE(r.err.isEmpty()) << r.err.toStdString();
}

TEST_F(ConfigCliTest, ShowsSortedSettingsAsLoaded)
{
    for (const QString &name :
        { QStringLiteral("Example site"), QStringLiteral("httpexampletest") }) {
        const CliResult r = cli({ QStringLiteral("show"), name });
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        const QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        EXPECT_TRUE(lines.contains(QStringLiteral("checkBlacklist = logout,print")));
        EXPECT_TRUE(lines.contains(QStringLiteral("timeOut = 30"))); // load rules applied
        EXPECT_TRUE(lines.contains(QStringLiteral("status = no bad links")));
        EXPECT_TRUE(lines.contains(
            QStringLiteral("sitemapRules = contains=blog priority=0.3 update=daily")));
        QStringList keys;
        for (const QString &line : lines)
            keys.append(line.section(QStringLiteral(" = "), 0, 0));
        QStringList sorted = keys;
        std::sort(sorted.begin(), sorted.end(), [](const QString &a, const QString &b) {
            return a.compare(b, Qt::CaseInsensitive) < 0;
        });
        EXPECT_EQ(keys, sorted);
    }
}

TEST_F(ConfigCliTest, ExportThenImportMakesASecondConfiguration)
{
    const QString exported = test::home() + QStringLiteral("/example.lcsettings");
    CliResult r = cli({ QStringLiteral("export"), QStringLiteral("Example site"), exported });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QVariantMap written = Plist::readFile(exported).value_or(QVariant()).toMap();
    EXPECT_EQ(written.value(QStringLiteral("url")), QStringLiteral("http://example.test/"));

    r = cli({ QStringLiteral("import"), exported });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, QStringLiteral("httpexampletest-1\n"));
    r = cli({ QStringLiteral("list") });
    EXPECT_EQ(r.out.count(QLatin1Char('\n')), 2);
}

TEST_F(ConfigCliTest, MistakesGiveOneLineAndStatusTwo)
{
    const QString garbage = test::home() + QStringLiteral("/garbage.lcsettings");
    QFile f(garbage);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("<plist><dict><key>url</key></dict></plist>");
    f.close();
    const QStringList cases[] = {
        {},
        { QStringLiteral("frobnicate") },
        { QStringLiteral("show") },
        { QStringLiteral("show"), QStringLiteral("No such site") },
        { QStringLiteral("export"), QStringLiteral("Example site") },
        { QStringLiteral("export"), QStringLiteral("Nope"), test::home() + QStringLiteral("/x") },
        { QStringLiteral("export"), QStringLiteral("Example site"),
            test::home() + QStringLiteral("/no/such/dir/x.lcsettings") },
        { QStringLiteral("import"), test::home() + QStringLiteral("/missing.lcsettings") },
        { QStringLiteral("import"), garbage },
        { QStringLiteral("list"), QStringLiteral("extra") },
    };
    for (const QStringList &args : cases) {
        const CliResult r = cli(args);
        const std::string what = args.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(r.exitCode, 2) << what;
        EXPECT_TRUE(r.out.isEmpty()) << what;
        EXPECT_TRUE(r.err.startsWith(QLatin1String("orrelwick-cli: ")))
            << what << ": " << r.err.toStdString();
        EXPECT_EQ(r.err.count(QLatin1Char('\n')), 1) << what << ": " << r.err.toStdString();
    }
}
