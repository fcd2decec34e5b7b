// orrelwick-cli crawl on a built site's folder, and on a file of it with a site root given.
#include "CliRun.h"
#include "TestHome.h"

#include <QDir>
#include <QTemporaryDir>

namespace orel::test {
namespace {

QString fixtures()
{
    return qEnvironmentVariable("ORRELWICK_SOURCE_DIR") + QStringLiteral("/tests/fixtures");
}

TEST(LocalSiteCli, AFolderIsCrawledFromItsIndexWithLinksFromItsRoot)
{
    QTemporaryDir home;
    const QStringList env { "ORRELWICK_HOME=" + home.path() };
    ASSERT_TRUE(QFileInfo(fixtures() + "/static-site/index.html").isFile())
            << "ORRELWICK_SOURCE_DIR not set";

    // Relative to the working folder, as typed. Every link resolves inside the folder.
    const CliRun folder = runCli({ "crawl", "static-site" }, fixtures(), env);
    EXPECT_EQ(folder.exitCode, 0) << folder.out.toStdString() << folder.err.toStdString();
    EXPECT_TRUE(folder.out.contains("6 of 6 links checked, 0 bad")) << folder.out.toStdString();

    // The image missing from the site is found once images are checked.
    const CliRun images =
            runCli({ "crawl", "static-site/", "--set", "imgButton=1" }, fixtures(), env);
    EXPECT_EQ(images.exitCode, 1);
    EXPECT_TRUE(images.out.contains("7 of 7 links checked, 1 bad")) << images.out.toStdString();

    // A file of the site with its root named: "/" is the site's index, not the disk's root.
    const CliRun file = runCli({ "crawl", "static-site/about/team.html", "--set",
                                 "localSiteRoot=static-site", "--flat-csv", "-" },
                               fixtures(), env);
    EXPECT_EQ(file.exitCode, 0) << file.err.toStdString();
    EXPECT_TRUE(file.out.contains("\"200 no error (not http)\",\"file://" + fixtures()
                                  + "/static-site/\",\"\",\"Home\""))
            << file.out.toStdString();

    // The same file without a root: "/" is the disk's root, as for any local page.
    const CliRun plain =
            runCli({ "crawl", "static-site/index.html", "--set", "imgButton=1", "--flat-csv", "-" },
                   fixtures(), env);
    EXPECT_EQ(plain.exitCode, 1);
    EXPECT_TRUE(plain.out.contains("\"file doesnt exist\",\"file:///css/site.css\""))
            << plain.out.toStdString();
    EXPECT_TRUE(plain.out.contains("6 of 6 links checked, 4 bad")) << plain.out.toStdString();
}

} // namespace
} // namespace orel::test
