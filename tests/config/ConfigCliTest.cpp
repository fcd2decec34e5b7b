#include "CliRun.h"
#include "ConfigTestSupport.h"

#include <QFileInfo>
#include <QRegularExpression>

using namespace orel;
using orel::test::ConfigTest;

namespace {

// Runs the built program's "config" command on the test home.
test::CliRun cli(const QStringList &args)
{
    return test::runCli(QStringList { u"config"_s } + args, {},
                        { u"ASAN_OPTIONS=detect_leaks=0"_s });
}

// Runs a command that must succeed; answers its output.
QString ok(const QStringList &args)
{
    const test::CliRun r = cli(args);
    EXPECT_EQ(r.exitCode, 0) << args.join(u' ').toStdString() << ": " << r.err.toStdString();
    return r.out;
}

} // namespace

TEST_F(ConfigTest, CommandLineListsShowsExportsImportsAndRefusesMistakes)
{
    if (!QFileInfo::exists(QStringLiteral(ORRELWICK_CLI_PATH)))
        GTEST_SKIP() << "orrelwick-cli has not been built";
    const QVariantMap blog { { u"contains"_s, u"blog"_s },
                             { u"priority"_s, u"0.3"_s },
                             { u"update"_s, u"daily"_s } };
    writeConfig(u"httpexampletest"_s,
                { { u"url"_s, u"http://example.test/"_s },
                  { u"name"_s, u"Example site"_s },
                  { u"checkBlacklist"_s, u"logout , print"_s },
                  { u"timeOut"_s, u"0"_s },
                  { u"status"_s, u"no bad links"_s },
                  { u"sitemapRules"_s, QVariantList { blog } } });
    EXPECT_EQ(ok({ u"list"_s }), u"Example site\thttp://example.test/\thttpexampletest\n"_s);
    // By display name or file name: sorted "key = value" lines of the settings as loaded.
    for (const QString &name : { u"Example site"_s, u"httpexampletest"_s }) {
        const QStringList lines = ok({ u"show"_s, name }).split(u'\n', Qt::SkipEmptyParts);
        for (const QString &expected :
             { u"checkBlacklist = logout,print"_s, u"timeOut = 30"_s, u"status = no bad links"_s,
               u"sitemapRules = contains=blog priority=0.3 update=daily"_s })
            EXPECT_TRUE(lines.contains(expected)) << expected.toStdString();
        QStringList sorted = lines;
        sorted.sort(Qt::CaseInsensitive);
        EXPECT_EQ(lines, sorted);
    }

    const QString out = test::home() + u"/out"_s; // outside the store's listing
    test::writeFile(out + u"/garbage.lcsettings"_s, "<plist><dict><key>url</key></dict></plist>");
    ok({ u"export"_s, u"Example site"_s, out + u"/example.lcsettings"_s });
    EXPECT_EQ(readPlist(out + u"/example.lcsettings"_s).value(u"url"_s), u"http://example.test/"_s);
    EXPECT_EQ(ok({ u"import"_s, out + u"/example.lcsettings"_s }), u"httpexampletest-1\n"_s);
    EXPECT_EQ(ok({ u"list"_s }).count(u'\n'), 2);

    // Every kind of mistake: status 2, nothing on stdout, one line on stderr.
    const QStringList mistakes[] = {
        {},
        { u"frobnicate"_s },
        { u"show"_s }, // too few arguments
        { u"show"_s, u"No such site"_s },
        { u"export"_s, u"Example site"_s, out + u"/no/such/dir/x.lcsettings"_s },
        { u"import"_s, out + u"/garbage.lcsettings"_s },
    };
    for (const QStringList &args : mistakes) {
        const auto [status, stdOut, err] = cli(args);
        const std::string what = args.join(u' ').toStdString() + ": " + err.toStdString();
        EXPECT_EQ(status, 2) << what;
        EXPECT_TRUE(stdOut.isEmpty()) << what;
        EXPECT_TRUE(QRegularExpression(u"^orrelwick-cli: [^\n]+\n$"_s).match(err).hasMatch())
                << what;
    }
}
