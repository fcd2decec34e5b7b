// HTML validation against the real validator service that tools/validator.sh runs on 127.0.0.1:
// Debian's markup validator for DTD-based pages, with the HTML5 checker behind it; through a
// crawl and through orrelwick-cli.
#include "seo/SEOManager.h"

#include "CliRun.h"
#include "FixtureServer.h"
#include "ValidatorService.h"
#include "engine/HubTestSupport.h"

#include <QTemporaryDir>

namespace orel::test {
namespace {

const char kValid[] =
        "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01//EN\" "
        "\"http://www.w3.org/TR/html4/strict.dtd\">\n"
        "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\">"
        "<title>Home</title></head>\n<body><p><a href=\"broken.html\">broken</a> "
        "<a href=\"html5.html\">html5</a></p></body></html>\n";
const char kBroken[] =
        "<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.01//EN\" "
        "\"http://www.w3.org/TR/html4/strict.dtd\">\n"
        "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\">"
        "<title>Broken</title></head>\n<body><p>An <blink>invalid</blink> page<zz></p></body>"
        "</html>\n";
const char kHtml5[] = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                      "<title>HTML5</title></head>\n<body><p>A block <span><div>inside a "
                      "span</div></span></p><img src=\"missing-alt.png\"></body></html>\n";

class LocalValidatorTest : public HubTest
{
protected:
    static inline LocalValidator *validator = nullptr;
    QTemporaryDir site;
    std::unique_ptr<FixtureServer> server;

    static void SetUpTestSuite()
    {
        if (!validator)
            validator = new LocalValidator;
    }

    void SetUp() override
    {
        HubTest::SetUp();
        ASSERT_TRUE(validator->isRunning()) << validator->error().toStdString();
        writeFile(site.filePath(QStringLiteral("index.html")), kValid);
        writeFile(site.filePath(QStringLiteral("broken.html")), kBroken);
        writeFile(site.filePath(QStringLiteral("html5.html")), kHtml5);
        server = std::make_unique<FixtureServer>(site.path());
        ASSERT_TRUE(server->isRunning());
    }
};

TEST_F(LocalValidatorTest, ValidInvalidAndHtml5PagesThroughACrawl)
{
    controls.ValidationEnabledCheckBox = CheckState::On;
    controls.validateAllButton = CheckState::On;
    controls.validationURL = validator->baseUrl();
    controls.validationDelay = 0;
    controls.validationTimeout = 60;
    ASSERT_TRUE(crawl(server->url(QStringLiteral("/index.html"))));
    SEOManager &seo = *hub->seoManager();
    ASSERT_TRUE(waitFor([&] { return !seo.isValidating(); }, 120000));
    ASSERT_EQ(seo.getNumberValidated(), 3);

    const LinkCheckerUrl *valid = byUrl(server->url(QStringLiteral("/index.html")));
    EXPECT_EQ(valid->getValidatorStatus(), QStringLiteral("Valid"));
    EXPECT_EQ(valid->getValidatorErrors(), 0);

    const LinkCheckerUrl *broken = byUrl(server->url(QStringLiteral("/broken.html")));
    EXPECT_EQ(broken->getValidatorStatus(), QStringLiteral("Invalid"));
    EXPECT_GT(broken->getValidatorErrors(), 0);

    // Checked by the HTML5 checker: without it the status would read "Abort".
    const LinkCheckerUrl *html5 = byUrl(server->url(QStringLiteral("/html5.html")));
    EXPECT_EQ(html5->getValidatorStatus(), QStringLiteral("Invalid"));
    EXPECT_GT(html5->getValidatorErrors(), 0);
    EXPECT_GE(html5->getValidatorWarnings(), 0);

    EXPECT_EQ(seo.getNumberValidationErrors(), 2);
}

TEST_F(LocalValidatorTest, CommandLineReportsTheSitesErrors)
{
    QTemporaryDir out;
    const QString report = out.filePath(QStringLiteral("validation.html"));
    const QString csv = out.filePath(QStringLiteral("validation.csv"));
    const CliRun run =
            runCli({ QStringLiteral("crawl"), server->url(QStringLiteral("/index.html")),
                     QStringLiteral("--quiet"), QStringLiteral("--validate"),
                     validator->baseUrl() + QStringLiteral("/"), QStringLiteral("--validate-all"),
                     QStringLiteral("--set"), QStringLiteral("validationDelay=0"),
                     QStringLiteral("--validation-report"), report,
                     QStringLiteral("--validation-csv"), csv });
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(
            run.out.contains(QStringLiteral("HTML validation: 3 page(s) validated, 2 with errors")))
            << run.out.toStdString();
    const QString html = QString::fromUtf8(readFile(report));
    EXPECT_TRUE(html.startsWith(
            QStringLiteral("<h1>HTML Validation</h1>\n<p>3 page(s) included, 2 with errors")))
            << html.toStdString();
    const QString table = QString::fromUtf8(readFile(csv));
    EXPECT_TRUE(table.contains(QStringLiteral("\"%1\",\"Invalid\",\"")
                                       .arg(server->url(QStringLiteral("/broken.html")))))
            << table.toStdString();
    EXPECT_TRUE(table.contains(QStringLiteral("\"%1\",\"Valid\",\"0\",\"0\"\r")
                                       .arg(server->url(QStringLiteral("/index.html")))))
            << table.toStdString();
}

TEST(ValidateOptions, UsageErrors)
{
    struct Case
    {
        QStringList args;
        const char *message;
    };
    const Case cases[] = {
        { { QStringLiteral("--validation-csv"), QStringLiteral("v.csv") }, "need --validate" },
        { { QStringLiteral("--validate-all") }, "need --validate" },
        { { QStringLiteral("--validate"), QStringLiteral("ftp://host/v") }, "http or https" },
        { { QStringLiteral("--validate") }, "--validate needs a value" },
        { { QStringLiteral("--validate"), QStringLiteral("http://127.0.0.1:1/v"),
            QStringLiteral("--validation-report"), QStringLiteral("/no/such/folder/r.html") },
          "no such folder" },
    };
    for (const Case &c : cases) {
        const CliRun run = runCli(
                QStringList { QStringLiteral("crawl"), QStringLiteral("http://127.0.0.1:1/") }
                + c.args);
        EXPECT_EQ(run.exitCode, 2) << c.args.join(' ').toStdString();
        EXPECT_TRUE(run.err.contains(QLatin1String(c.message))) << run.err.toStdString();
    }
}

} // namespace
} // namespace orel::test
