#include "ConfigTestSupport.h"

#include "common/UserDefaults.h"

#include <QDir>
#include <QRegularExpression>

using namespace orel;
using orel::test::ConfigTest;

namespace {

const QString YES = QStringLiteral("YES");
const QString NO = QStringLiteral("NO");

// A configuration as the program writes it: every key, values in their canonical form.
QVariantMap fullConfig(const QString &url, const QString &name)
{
    QVariantMap d = OrelConfigManager::compileBlankDict();
    d.insert(QStringLiteral("url"), url);
    d.insert(QStringLiteral("name"), name);
    d.insert(QStringLiteral("checkBlacklist"), QStringLiteral("logout,/print/"));
    d.insert(QStringLiteral("followBlacklist"), QStringLiteral("calendar"));
    d.insert(QStringLiteral("followWhitelist"), QString());
    d.insert(QStringLiteral("numberOfThreads"), QStringLiteral("8"));
    d.insert(QStringLiteral("timeOut"), QStringLiteral("45"));
    d.insert(QStringLiteral("delay"), QStringLiteral("0.5"));
    d.insert(QStringLiteral("followQuerystring"), YES);
    d.insert(QStringLiteral("ignoreSlash"), NO);
    d.insert(QStringLiteral("followCheckbox"), YES);
    d.insert(QStringLiteral("checkImages"), YES);
    d.insert(QStringLiteral("KestovanAttemptAuthentication"), NO);
    d.insert(QStringLiteral("OrrelwickMainWindowEdited"), NO);
    d.insert(QStringLiteral("selectedConfig"), QStringLiteral("0"));
    d.insert(QStringLiteral("sitemapRules"),
        QVariantList { QVariantMap { { QStringLiteral("contains"), QStringLiteral("blog") },
            { QStringLiteral("priority"), QStringLiteral("0.3") },
            { QStringLiteral("update"), QStringLiteral("daily") } } });
    d.insert(QStringLiteral("status"), QStringLiteral("2 bad links"));
    d.insert(QStringLiteral("dateStamp"), QStringLiteral("2024-05-06 07:08:09"));
    return d;
}

} // namespace

TEST_F(ConfigTest, ConfigurationSurvivesLoadAndSaveUnchanged)
{
    writeConfig(QStringLiteral("httpexamplecom"),
        fullConfig(QStringLiteral("http://example.com/"), QStringLiteral("Example")));
    const QByteArray before = bytesOf(QStringLiteral("httpexamplecom"));
    manager->loadAllUrls();
    manager->selectRow(0);
    EXPECT_FALSE(manager->isEdited());
    EXPECT_EQ(manager->saveMenuItem(), QStringLiteral("httpexamplecom"));
    EXPECT_EQ(bytesOf(QStringLiteral("httpexamplecom")), before);
    EXPECT_EQ(QDir(test::home()).entryList(QDir::Files).size(), 1);
}

TEST_F(ConfigTest, BlankDictionaryHasTheBlankValuesAndLoadsAsDefaults)
{
    const QVariantMap blank = OrelConfigManager::compileBlankDict();
    const QVariantMap expected {
        { QStringLiteral("url"), QString() },
        { QStringLiteral("name"), QString() },
        { QStringLiteral("checkBlacklist"), QString() },
        { QStringLiteral("followBlacklist"), QString() },
        { QStringLiteral("followWhitelist"), QString() },
        { QStringLiteral("numberOfThreads"), QStringLiteral("12") },
        { QStringLiteral("timeOut"), QStringLiteral("30") },
        { QStringLiteral("followQuerystring"), NO },
        { QStringLiteral("checkErrorPages"), NO },
        { QStringLiteral("checkImages"), NO },
        { QStringLiteral("followCheckbox"), NO },
        { QStringLiteral("nofollowCheckbox"), NO },
        { QStringLiteral("uniqueTitles"), NO },
        { QStringLiteral("archivePages"), NO },
        { QStringLiteral("OrrelwickSitemapOnly"), NO },
        { QStringLiteral("OrrelwickHashIsBad"), NO },
        { QStringLiteral("OrrelwickXmlNoBlacklisted"), NO },
        { QStringLiteral("blacklistCheckContent"), NO },
        { QStringLiteral("plainTextMode"), NO },
    };
    EXPECT_EQ(blank, expected);

    // The blank "followCheckbox" of NO means single-page mode; absent keys keep their defaults.
    manager->implementSettingsFromDictionary(blank);
    EXPECT_EQ(controls->followButton, CheckState::On);
    EXPECT_EQ(controls->qsButton, CheckState::On);
    EXPECT_EQ(controls->slashButton, CheckState::On);
    EXPECT_EQ(controls->numberOfThreads, 12);
    EXPECT_EQ(controls->timeoutField, 30.0);
    EXPECT_EQ(controls->delayField, 0.0);
}

TEST_F(ConfigTest, LoadingClampsAndReadsOddValues)
{
    struct Case
    {
        QVariantMap dict;
        const char *control;
        const char *expected; // valueByName form
    };
    auto d = [](const char *k, const QVariant &v) {
        return QVariantMap { { QLatin1String(k), v } };
    };
    const Case cases[] = {
        { d("timeOut", QStringLiteral("0")), "timeoutField", "30" },
        { d("timeOut", QStringLiteral("0.9")), "timeoutField", "30" },
        { d("timeOut", QStringLiteral("abc")), "timeoutField", "30" },
        { d("timeOut", QStringLiteral("45")), "timeoutField", "45" },
        { d("timeOut", QStringLiteral("2.5")), "timeoutField", "2.5" },
        { d("numberOfThreads", QStringLiteral("999")), "numberOfThreads", "64" },
        { d("numberOfThreads", QStringLiteral("0")), "numberOfThreads", "1" },
        { d("numberOfThreads", QStringLiteral("-5")), "numberOfThreads", "1" },
        { d("numberOfThreads", QStringLiteral("8 threads")), "numberOfThreads", "8" },
        { d("delay", QStringLiteral("1.5")), "delayField", "1.5" },
        { QVariantMap {}, "delayField", "0" },
        { QVariantMap {}, "slashButton", "on" },
        { QVariantMap {}, "followButton", "off" },
        { QVariantMap {}, "imgButton", "off" },
        { QVariantMap {}, "qsButton", "on" },
        { d("ignoreSlash", NO), "slashButton", "off" },
        { d("followCheckbox", NO), "followButton", "on" },
        { d("followCheckbox", YES), "followButton", "off" },
        { d("followQuerystring", YES), "qsButton", "off" },
        { d("followQuerystring", QStringLiteral("yes")), "qsButton", "on" },
        { d("checkImages", YES), "imgButton", "on" },
        { d("checkImages", true), "imgButton", "on" },
        { d("uniqueTitles", YES), "uniqueTitleButton", "on" },
        { d("blacklistCheckContent", YES), "blacklistCheckContentCheckBox", "on" },
        { d("OrrelwickSitemapOnly", YES), "sitemapOnly", "on" },
        { d("KestovanAttemptAuthentication", YES), "attemptAuthentication", "on" },
        { d("url", QStringLiteral("http://a.test/")), "urlField", "http://a.test/" },
    };
    for (const Case &c : cases) {
        controls->setDefaults();
        controls->urlField = QStringLiteral("kept");
        manager->implementSettingsFromDictionary(c.dict);
        EXPECT_EQ(controls->valueByName(QLatin1String(c.control)), QLatin1String(c.expected))
            << c.control << " from " << QStringList(c.dict.keys()).join(',').toStdString();
    }
    // Without "url" the address field is left as it was.
    controls->urlField = QStringLiteral("kept");
    manager->implementSettingsFromDictionary({});
    EXPECT_EQ(controls->urlField, QStringLiteral("kept"));
}

TEST_F(ConfigTest, EverySwitchSurvivesApplyAndCompileBothWays)
{
    const QStringList keys { "followQuerystring", "checkErrorPages", "ignoreSlash", "checkImages",
        "followCheckbox", "nofollowCheckbox", "uniqueTitles", "archivePages",
        "OrrelwickSitemapOnly", "OrrelwickHashIsBad", "OrrelwickXmlNoBlacklisted",
        "blacklistCheckContent", "plainTextMode", "KestovanAttemptAuthentication" };
    for (const QString &key : keys) {
        for (const QString &value : { YES, NO }) {
            QVariantMap dict = manager->compileConfigDict();
            dict.insert(key, value);
            manager->implementSettingsFromDictionary(dict);
            EXPECT_EQ(manager->compileConfigDict().value(key).toString(), value)
                << key.toStdString() << "=" << value.toStdString();
        }
    }
}

TEST_F(ConfigTest, NewFileNamesKeepLettersAndCountUp)
{
    struct Case
    {
        const char *url;
        const char *fileName;
    };
    const Case cases[] = {
        { "http://www.example.com/a/b.html", "httpwwwexamplecomabhtml" }, { "", "nourl" },
        { "http://www.example.com/a/b.html", "httpwwwexamplecomabhtml-1" },
        { "http://www.example.com/a/b.html", "httpwwwexamplecomabhtml-2" }, { "", "nourl-1" },
        { "temp", "temp-1" }, // never the crawl's working folder
    };
    for (const Case &c : cases) {
        manager->newURL();
        controls->urlField = QLatin1String(c.url);
        EXPECT_EQ(manager->saveMenuItem(), QLatin1String(c.fileName)) << c.url;
        EXPECT_TRUE(QFile::exists(pathOf(QLatin1String(c.fileName))));
    }
}

TEST_F(ConfigTest, SavingTheSelectedConfigurationKeepsItsFileName)
{
    writeConfig(QStringLiteral("mysite"),
        fullConfig(QStringLiteral("http://old.test/"), QStringLiteral("Mine")));
    manager->loadAllUrls();
    manager->selectRow(0);
    controls->urlField = QStringLiteral("http://new.test/");
    EXPECT_EQ(manager->saveMenuItem(), QStringLiteral("mysite"));
    EXPECT_EQ(readConfig(QStringLiteral("mysite")).value(QStringLiteral("url")),
        QStringLiteral("http://new.test/"));
    // Status and date of the last check are not settings of the controls; they survive.
    EXPECT_EQ(readConfig(QStringLiteral("mysite")).value(QStringLiteral("status")),
        QStringLiteral("2 bad links"));
    EXPECT_EQ(manager->count(), 1);
}

TEST_F(ConfigTest, ListingSkipsWhatIsNotAConfiguration)
{
    writeConfig(
        QStringLiteral("b-site"), { { QStringLiteral("url"), QStringLiteral("http://b/") } });
    writeConfig(QStringLiteral("a-site"),
        { { QStringLiteral("url"), QStringLiteral("http://a/") },
            { QStringLiteral("name"), QStringLiteral("Site A") } });
    writeConfig(
        QStringLiteral(".hidden"), { { QStringLiteral("url"), QStringLiteral("http://h/") } });
    writeConfig(
        QStringLiteral("lastused"), { { QStringLiteral("url"), QStringLiteral("http://l/") } });
    writeConfig(QStringLiteral("nourlhere"), { { QStringLiteral("name"), QStringLiteral("x") } });
    QDir(test::home()).mkpath(QStringLiteral("temp"));
    QDir(test::home()).mkpath(QStringLiteral("thumbs"));
    QFile junk(pathOf(QStringLiteral("junk")));
    ASSERT_TRUE(junk.open(QIODevice::WriteOnly));
    junk.write("not a property list");
    junk.close();

    manager->loadAllUrls();
    EXPECT_EQ(manager->fileNameCollection(),
        (QStringList { QStringLiteral("a-site"), QStringLiteral("b-site") }));
    EXPECT_EQ(manager->nameCollection(),
        (QStringList { QStringLiteral("Site A"), QStringLiteral("http://b/") }));
    EXPECT_FALSE(manager->hasFewConfigurations());
    EXPECT_EQ(manager->getUrlForFilename(QStringLiteral("b-site")), QStringLiteral("http://b/"));
    EXPECT_EQ(manager->getNameForURL(QStringLiteral("http://a/")), QStringLiteral("Site A"));
    EXPECT_TRUE(manager->getNameForURL(QStringLiteral("http://z/")).isNull());
    EXPECT_EQ(manager->findConfiguration(QStringLiteral("Site A")), 0);
    EXPECT_EQ(manager->findConfiguration(QStringLiteral("b-site")), 1);
    EXPECT_EQ(manager->findConfiguration(QStringLiteral("nourlhere")), -1);
}

TEST_F(ConfigTest, FewerThanTwoConfigurationsClosesTheDrawer)
{
    UserDefaults::setValue(QLatin1String(DefaultsKey::DrawerOpen), true);
    writeConfig(QStringLiteral("one"), { { QStringLiteral("url"), QStringLiteral("http://1/") } });
    int signalled = 0;
    QObject::connect(manager.get(), &OrelConfigManager::fewConfigurationsChanged,
        [&](bool few) { signalled += few ? 1 : 0; });
    manager->loadAllUrls();
    EXPECT_TRUE(manager->hasFewConfigurations());
    EXPECT_EQ(signalled, 1);
    EXPECT_FALSE(UserDefaults::boolValue(QLatin1String(DefaultsKey::DrawerOpen)));

    writeConfig(QStringLiteral("two"), { { QStringLiteral("url"), QStringLiteral("http://2/") } });
    manager->loadAllUrls();
    EXPECT_FALSE(manager->hasFewConfigurations());

    // With enough configurations a request to open the drawer is honoured once.
    UserDefaults::setValue(QLatin1String(DefaultsKey::DrawerOpen), true);
    EXPECT_TRUE(OrelConfigManager::takeDrawerOpenRequest());
    EXPECT_FALSE(OrelConfigManager::takeDrawerOpenRequest());
}

TEST_F(ConfigTest, DeleteAsksAndOnlyContinueDeletes)
{
    writeConfig(QStringLiteral("first"),
        fullConfig(QStringLiteral("http://first/"), QStringLiteral("First")));
    writeConfig(QStringLiteral("second"),
        fullConfig(QStringLiteral("http://second/"), QStringLiteral("Second")));
    manager->loadAllUrls();
    manager->selectRow(1);

    test::dialogs().alertAnswers.enqueue(1); // Cancel
    EXPECT_FALSE(manager->deleteMenuItem());
    ASSERT_EQ(test::dialogs().calls.size(), 1);
    EXPECT_EQ(test::dialogs().calls[0].title, QStringLiteral("Delete Configuration"));
    EXPECT_EQ(test::dialogs().calls[0].buttons,
        (QStringList { QStringLiteral("Continue"), QStringLiteral("Cancel") }));
    EXPECT_TRUE(QFile::exists(pathOf(QStringLiteral("second"))));

    test::dialogs().alertAnswers.enqueue(0); // Continue
    EXPECT_TRUE(manager->deleteMenuItem());
    EXPECT_FALSE(QFile::exists(pathOf(QStringLiteral("second"))));
    EXPECT_EQ(manager->fileNameCollection(), QStringList { QStringLiteral("first") });
    // The row above is selected and shown.
    EXPECT_EQ(manager->selectedRow(), 0);
    EXPECT_EQ(controls->urlField, QStringLiteral("http://first/"));
    EXPECT_FALSE(manager->isEdited());
}

TEST_F(ConfigTest, DeleteIsRefusedWhileCrawlingOrWithoutSelection)
{
    writeConfig(QStringLiteral("only"), { { QStringLiteral("url"), QStringLiteral("http://o/") } });
    manager->loadAllUrls();
    EXPECT_FALSE(manager->deleteMenuItem()); // nothing selected
    manager->selectRow(0);
    manager->setCrawlRunning(true);
    EXPECT_FALSE(manager->deleteMenuItem());
    EXPECT_EQ(test::dialogs().countCalls(QStringLiteral("alert")), 0);
    EXPECT_TRUE(QFile::exists(pathOf(QStringLiteral("only"))));
}

TEST_F(ConfigTest, DeletingTheLastLeavesDefaults)
{
    writeConfig(
        QStringLiteral("only"), fullConfig(QStringLiteral("http://o/"), QStringLiteral("Only")));
    manager->loadAllUrls();
    manager->selectRow(0);
    EXPECT_TRUE(manager->deleteMenuItem());
    EXPECT_EQ(manager->count(), 0);
    EXPECT_EQ(manager->selectedRow(), -1);
    EXPECT_TRUE(controls->urlField.isEmpty());
    EXPECT_TRUE(manager->getCheckBlacklistArray().isEmpty());
}

TEST_F(ConfigTest, StatusAndDateStampGoToTheFileAndTheStatusLine)
{
    writeConfig(QStringLiteral("site"), { { QStringLiteral("url"), QStringLiteral("http://s/") } });
    manager->loadAllUrls();
    manager->setStatus(QStringLiteral("ignored: nothing selected"));
    EXPECT_FALSE(readConfig(QStringLiteral("site")).contains(QStringLiteral("status")));

    manager->selectRow(0);
    EXPECT_TRUE(manager->statusLine().isEmpty());
    manager->setStatus(QStringLiteral("no bad links"));
    manager->setDateStamp();
    const QVariantMap stored = readConfig(QStringLiteral("site"));
    const QString stamp = stored.value(QStringLiteral("dateStamp")).toString();
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$"))
                    .match(stamp)
                    .hasMatch())
        << stamp.toStdString();
    EXPECT_EQ(stored.value(QStringLiteral("status")), QStringLiteral("no bad links"));
    EXPECT_EQ(manager->statusLine(), QStringLiteral("Last checked ") + stamp + " no bad links");

    // Applying the file builds the other form of the line, with a comma.
    manager->selectRow(0);
    EXPECT_EQ(manager->statusLine(), QStringLiteral("Last checked ") + stamp + ", no bad links");

    // A configuration whose file has gone is left alone.
    QFile::remove(pathOf(QStringLiteral("site")));
    manager->setStatus(QStringLiteral("x"));
    EXPECT_FALSE(QFile::exists(pathOf(QStringLiteral("site"))));
}

TEST_F(ConfigTest, RenameWritesTheNameOrKeepsItInMemoryForANewOne)
{
    writeConfig(QStringLiteral("site"), { { QStringLiteral("url"), QStringLiteral("http://s/") } });
    manager->loadAllUrls();
    manager->selectRow(0);
    manager->setNewName(QStringLiteral("Renamed"));
    EXPECT_EQ(readConfig(QStringLiteral("site")).value(QStringLiteral("name")),
        QStringLiteral("Renamed"));
    EXPECT_EQ(manager->nameAt(0), QStringLiteral("Renamed"));

    manager->newURL();
    EXPECT_EQ(manager->nameAt(manager->selectedRow()), QStringLiteral("untitled"));
    manager->setNewName(QStringLiteral("Fresh"));
    controls->urlField = QStringLiteral("http://fresh/");
    const QString fileName = manager->saveMenuItem();
    EXPECT_EQ(fileName, QStringLiteral("httpfresh"));
    EXPECT_EQ(readConfig(fileName).value(QStringLiteral("name")), QStringLiteral("Fresh"));
    EXPECT_EQ(manager->count(), 2);
    EXPECT_EQ(manager->fileNameAt(manager->selectedRow()), fileName);
}

TEST_F(ConfigTest, UnsavedChangesAreSavedOnlyWhenTheUserSaysSo)
{
    writeConfig(QStringLiteral("site"), { { QStringLiteral("url"), QStringLiteral("http://s/") } });
    manager->loadAllUrls();
    manager->selectRow(0);

    controls->setByName(QStringLiteral("numberOfThreads"), QStringLiteral("5"));
    EXPECT_TRUE(manager->isEdited());
    test::dialogs().alertAnswers.enqueue(1); // Don't save
    manager->newURL();
    EXPECT_EQ(test::dialogs().calls.last().title, QStringLiteral("Unsaved changes"));
    EXPECT_FALSE(readConfig(QStringLiteral("site")).contains(QStringLiteral("numberOfThreads")));
    EXPECT_TRUE(manager->isCreatingNewConfig());
    EXPECT_EQ(manager->windowTitle(), QStringLiteral("Untitled"));

    manager->selectRow(0);
    controls->setByName(QStringLiteral("numberOfThreads"), QStringLiteral("5"));
    test::dialogs().alertAnswers.enqueue(0); // Save
    manager->newURL();
    EXPECT_EQ(readConfig(QStringLiteral("site")).value(QStringLiteral("numberOfThreads")),
        QStringLiteral("5"));

    // Without edits nobody is asked.
    test::resetDialogs();
    manager->newURL();
    EXPECT_EQ(test::dialogs().countCalls(QStringLiteral("alert")), 0);
}

TEST_F(ConfigTest, OpenedSettingsAreSavedBackWhereTheyCameFrom)
{
    const QString outside = test::home() + QStringLiteral("/elsewhere/site.lcsettings");
    QDir().mkpath(QFileInfo(outside).path());
    ASSERT_TRUE(Plist::writeFile(
        outside, fullConfig(QStringLiteral("http://o/"), QStringLiteral("Outside"))));
    QString error;
    ASSERT_TRUE(manager->openSettings(outside, &error)) << error.toStdString();
    EXPECT_EQ(controls->urlField, QStringLiteral("http://o/"));
    controls->timeoutField = 12;
    EXPECT_EQ(manager->saveMenuItem(), outside);
    const QVariantMap back = Plist::readFile(outside).value_or(QVariant()).toMap();
    EXPECT_EQ(back.value(QStringLiteral("timeOut")), QStringLiteral("12"));
    EXPECT_EQ(back.value(QStringLiteral("name")), QStringLiteral("Outside"));
    EXPECT_TRUE(QDir(test::home()).entryList(QDir::Files).filter(QStringLiteral("http")).isEmpty());

    EXPECT_FALSE(manager->openSettings(test::home() + QStringLiteral("/missing"), &error));
    EXPECT_FALSE(error.isEmpty());
}

TEST_F(ConfigTest, ExportWritesThroughTheSavePanel)
{
    controls->urlField = QStringLiteral("http://x/");
    manager->addBlacklistRule(QStringLiteral("logout"), OrelConfigManager::DoNotCheck);
    const QString target = test::home() + QStringLiteral("/out");
    test::dialogs().panelAnswers.enqueue(target);
    EXPECT_TRUE(manager->exportMenuItem());
    EXPECT_EQ(test::dialogs().calls.last().title, QStringLiteral("lcsettings"));
    const QVariantMap written
        = Plist::readFile(target + QStringLiteral(".lcsettings")).value_or(QVariant()).toMap();
    EXPECT_EQ(written.value(QStringLiteral("checkBlacklist")), QStringLiteral("logout"));

    EXPECT_FALSE(manager->exportMenuItem()); // cancelled
}

TEST_F(ConfigTest, LastUsedSettingsComeBackWithTheirRow)
{
    writeConfig(QStringLiteral("a"), { { QStringLiteral("url"), QStringLiteral("http://a/") } });
    writeConfig(QStringLiteral("b"), { { QStringLiteral("url"), QStringLiteral("http://b/") } });
    manager->loadAllUrls();
    manager->selectRow(1);
    controls->setByName(QStringLiteral("numberOfThreads"), QStringLiteral("3"));
    manager->addBlacklistRule(QStringLiteral("x"), OrelConfigManager::OnlyFollow);
    manager->saveLastUsedSettings();

    SettingsControls otherControls;
    OrelConfigManager other(&otherControls);
    other.loadAllUrls();
    other.implementLastUsedSettings();
    EXPECT_EQ(other.selectedRow(), 1);
    EXPECT_EQ(otherControls.numberOfThreads, 3);
    EXPECT_EQ(other.getFollowWhitelistArray(), QStringList { QStringLiteral("x") });
    EXPECT_TRUE(other.isEdited()); // the edits were never saved

    manager->saveBlankSettings();
    EXPECT_EQ(Plist::readFile(AppSupport::lastUsedFile()).value_or(QVariant()).toMap(),
        OrelConfigManager::compileBlankDict());
}

TEST_F(ConfigTest, ApplyingOneKeyIsStrict)
{
    struct Case
    {
        const char *key;
        const char *value;
        bool ok;
    };
    const Case cases[] = {
        { "noSuchKey", "1", false },
        { "numberOfThreads", "many", false },
        { "numberOfThreads", "4", true },
        { "timeOut", "1.5s", false },
        { "timeOut", "0", true },
        { "checkImages", "maybe", false },
        { "checkImages", "yes", true },
        { "followCheckbox", "off", true },
        { "sitemapRules", "junk", false },
    };
    for (const Case &c : cases) {
        QString error;
        EXPECT_EQ(
            manager->applySettingsKey(QLatin1String(c.key), QLatin1String(c.value), &error), c.ok)
            << c.key << "=" << c.value;
        EXPECT_EQ(error.isEmpty(), c.ok) << c.key;
    }
    // The load rules still apply, and the other settings are untouched.
    EXPECT_EQ(controls->numberOfThreads, 4);
    EXPECT_EQ(controls->timeoutField, 30.0);
    EXPECT_EQ(controls->imgButton, CheckState::On);
    EXPECT_EQ(controls->followButton, CheckState::On);

    const QString rules = QStringLiteral(
        "contains=blog priority=0.3 update=daily; contains=a b priority=1 update=never");
    ASSERT_TRUE(manager->applySettingsKey(QStringLiteral("sitemapRules"), rules));
    EXPECT_EQ(OrelConfigManager::showSitemapRules(manager->getSitemapRules()), rules);
    EXPECT_EQ(manager->sitemapRuleValue(1, QStringLiteral("contains")), QStringLiteral("a b"));
}

TEST_F(ConfigTest, ThumbnailPrefersTiffThenTifThenTheDefaultIcon)
{
    QDir().mkpath(AppSupport::thumbsFolder());
    EXPECT_EQ(OrelConfigManager::getThumbForFilename(QStringLiteral("site")),
        QStringLiteral("defaultWebIcon"));
    QFile tif(AppSupport::thumbsFolder() + QStringLiteral("/site.tif"));
    ASSERT_TRUE(tif.open(QIODevice::WriteOnly));
    tif.close();
    EXPECT_EQ(OrelConfigManager::getThumbForFilename(QStringLiteral("site")), tif.fileName());
    QFile tiff(AppSupport::thumbsFolder() + QStringLiteral("/site.tiff"));
    ASSERT_TRUE(tiff.open(QIODevice::WriteOnly));
    tiff.close();
    EXPECT_EQ(OrelConfigManager::getThumbForFilename(QStringLiteral("site")), tiff.fileName());
}

TEST_F(ConfigTest, FtpDetailsAreStoredPrivatelyAndThePasswordNeverLogged)
{
    test::LogCapture logs;
    manager->saveFtpDetails({ QStringLiteral("ftp.example.test"), QStringLiteral("htdocs"),
        QStringLiteral("me"), QStringLiteral("s3cret-pw") });
    EXPECT_TRUE(logs.contains(QStringLiteral("saveFtpDetails called, writing to ")
        + OrelConfigManager::ftpDetailsPath()));
    for (const QString &line : logs.lines)
        EXPECT_FALSE(line.contains(QStringLiteral("s3cret-pw")));
    const QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::ReadOther;
    EXPECT_EQ((QFile::permissions(OrelConfigManager::ftpDetailsPath()) & others).toInt(), 0);
    const OrelConfigManager::FtpDetails back = OrelConfigManager::loadFtpDetails();
    EXPECT_EQ(back.server, QStringLiteral("ftp.example.test"));
    EXPECT_EQ(back.password, QStringLiteral("s3cret-pw"));
    // The details file is not a configuration.
    manager->loadAllUrls();
    EXPECT_EQ(manager->count(), 0);
}
