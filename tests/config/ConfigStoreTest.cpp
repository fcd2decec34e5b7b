#include "ConfigTestSupport.h"

#include "common/UserDefaults.h"

#include <QDir>
#include <QRegularExpression>

using namespace orel;
using orel::test::ConfigTest;

namespace {

const QString YES = u"YES"_s;
const QString NO = u"NO"_s;

// A configuration as the program writes it: every key, values in their canonical form.
QVariantMap fullConfig(const QString &url, const QString &name)
{
    QVariantMap d = OrelConfigManager::compileBlankDict();
    d.insert({ { u"url"_s, url }, { u"name"_s, name }, { u"checkBlacklist"_s, u"logout,/print/"_s },
        { u"followBlacklist"_s, u"calendar"_s }, { u"numberOfThreads"_s, u"8"_s },
        { u"timeOut"_s, u"45"_s }, { u"delay"_s, u"0.5"_s }, { u"followQuerystring"_s, YES },
        { u"ignoreSlash"_s, NO }, { u"followCheckbox"_s, YES }, { u"checkImages"_s, YES },
        { u"KestovanAttemptAuthentication"_s, NO }, { u"OrrelwickMainWindowEdited"_s, NO },
        { u"selectedConfig"_s, u"0"_s }, { u"status"_s, u"2 bad links"_s },
        { u"dateStamp"_s, u"2024-05-06 07:08:09"_s },
        { u"sitemapRules"_s,
            QVariantList { QVariantMap { { u"contains"_s, u"blog"_s }, { u"priority"_s, u"0.3"_s },
                { u"update"_s, u"daily"_s } } } } });
    return d;
}

} // namespace

TEST_F(ConfigTest, ConfigurationSurvivesLoadAndSaveUnchanged)
{
    writeConfig(u"httpexamplecom"_s, fullConfig(u"http://example.com/"_s, u"Example"_s));
    const QByteArray before = bytesOf(u"httpexamplecom"_s);
    manager->loadAllUrls();
    manager->selectRow(0);
    EXPECT_FALSE(manager->isEdited());
    EXPECT_EQ(manager->saveMenuItem(), u"httpexamplecom"_s);
    EXPECT_EQ(bytesOf(u"httpexamplecom"_s), before);
    EXPECT_EQ(QDir(test::home()).entryList(QDir::Files).size(), 1);
}

TEST_F(ConfigTest, BlankDictionaryHasTheBlankValues)
{
    QVariantMap expected { { u"numberOfThreads"_s, u"12"_s }, { u"timeOut"_s, u"30"_s } };
    for (const char *key :
        { "url", "name", "checkBlacklist", "followBlacklist", "followWhitelist" })
        expected.insert(QLatin1String(key), QString());
    for (const char *key : { "followQuerystring", "checkErrorPages", "checkImages",
             "followCheckbox", "nofollowCheckbox", "uniqueTitles", "archivePages",
             "OrrelwickSitemapOnly", "OrrelwickHashIsBad", "OrrelwickXmlNoBlacklisted",
             "blacklistCheckContent", "plainTextMode" })
        expected.insert(QLatin1String(key), NO);
    EXPECT_EQ(OrelConfigManager::compileBlankDict(), expected);
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
        { d("timeOut", u"0"_s), "timeoutField", "30" },
        { d("timeOut", u"0.9"_s), "timeoutField", "30" },
        { d("timeOut", u"abc"_s), "timeoutField", "30" },
        { d("timeOut", u"45"_s), "timeoutField", "45" },
        { d("timeOut", u"2.5"_s), "timeoutField", "2.5" },
        { d("numberOfThreads", u"999"_s), "numberOfThreads", "64" },
        { d("numberOfThreads", u"0"_s), "numberOfThreads", "1" },
        { d("numberOfThreads", u"-5"_s), "numberOfThreads", "1" },
        { d("numberOfThreads", u"8 threads"_s), "numberOfThreads", "8" },
        { d("delay", u"1.5"_s), "delayField", "1.5" }, { {}, "delayField", "0" },
        { {}, "slashButton", "on" }, { {}, "followButton", "off" }, { {}, "imgButton", "off" },
        { {}, "qsButton", "on" }, { d("ignoreSlash", NO), "slashButton", "off" },
        { d("followCheckbox", NO), "followButton", "on" }, // NO means single-page mode
        { d("followCheckbox", YES), "followButton", "off" },
        { d("followQuerystring", YES), "qsButton", "off" },
        { d("followQuerystring", u"yes"_s), "qsButton", "on" },
        { d("checkImages", YES), "imgButton", "on" }, { d("checkImages", true), "imgButton", "on" },
        { d("uniqueTitles", YES), "uniqueTitleButton", "on" },
        { d("blacklistCheckContent", YES), "blacklistCheckContentCheckBox", "on" },
        { d("OrrelwickSitemapOnly", YES), "sitemapOnly", "on" },
        { d("KestovanAttemptAuthentication", YES), "attemptAuthentication", "on" },
        { d("url", u"http://a.test/"_s), "urlField", "http://a.test/" },
        { {}, "urlField", "kept" }, // without "url" the address field is left as it was
    };
    for (const Case &c : cases) {
        controls->setDefaults();
        controls->urlField = u"kept"_s;
        manager->implementSettingsFromDictionary(c.dict);
        EXPECT_EQ(controls->valueByName(QLatin1String(c.control)), QLatin1String(c.expected))
            << c.control << " from " << QStringList(c.dict.keys()).join(u',').toStdString();
    }
}

TEST_F(ConfigTest, EverySwitchSurvivesApplyAndCompileBothWays)
{
    for (const char *key : { "followQuerystring", "checkErrorPages", "ignoreSlash", "checkImages",
             "followCheckbox", "nofollowCheckbox", "uniqueTitles", "archivePages",
             "OrrelwickSitemapOnly", "OrrelwickHashIsBad", "OrrelwickXmlNoBlacklisted",
             "blacklistCheckContent", "plainTextMode", "KestovanAttemptAuthentication" }) {
        for (const QString &value : { YES, NO }) {
            QVariantMap dict = manager->compileConfigDict();
            dict.insert(QLatin1String(key), value);
            manager->implementSettingsFromDictionary(dict);
            EXPECT_EQ(manager->compileConfigDict().value(QLatin1String(key)).toString(), value)
                << key << "=" << value.toStdString();
        }
    }
}

TEST_F(ConfigTest, NewFileNamesKeepLettersAndCountUp)
{
    const std::pair<QString, QString> cases[] = { // url, file name
        { u"http://www.example.com/a/b.html"_s, u"httpwwwexamplecomabhtml"_s }, { {}, u"nourl"_s },
        { u"http://www.example.com/a/b.html"_s, u"httpwwwexamplecomabhtml-1"_s },
        { u"http://www.example.com/a/b.html"_s, u"httpwwwexamplecomabhtml-2"_s },
        { {}, u"nourl-1"_s }, { u"temp"_s, u"temp-1"_s }
    }; // never the crawl's working folder
    for (const auto &[url, fileName] : cases) {
        manager->newURL();
        controls->urlField = url;
        EXPECT_EQ(manager->saveMenuItem(), fileName) << url.toStdString();
        EXPECT_TRUE(QFile::exists(pathOf(fileName)));
    }
}

TEST_F(ConfigTest, SavingAndRenamingKeepTheFileAndWhatTheControlsDoNotHold)
{
    writeConfig(u"mysite"_s, fullConfig(u"http://old.test/"_s, u"Mine"_s));
    manager->loadAllUrls();
    manager->selectRow(0);
    controls->urlField = u"http://new.test/"_s;
    EXPECT_EQ(manager->saveMenuItem(), u"mysite"_s);
    EXPECT_EQ(readConfig(u"mysite"_s).value(u"url"_s), u"http://new.test/"_s);
    EXPECT_EQ(readConfig(u"mysite"_s).value(u"status"_s), u"2 bad links"_s);
    manager->setNewName(u"Renamed"_s);
    EXPECT_EQ(readConfig(u"mysite"_s).value(u"name"_s), u"Renamed"_s);
    EXPECT_EQ(manager->nameAt(0), u"Renamed"_s);

    // A new configuration keeps its name in memory until it is saved.
    manager->newURL();
    EXPECT_EQ(manager->nameAt(manager->selectedRow()), u"untitled"_s);
    EXPECT_EQ(manager->windowTitle(), u"Untitled"_s);
    manager->setNewName(u"Fresh"_s);
    controls->urlField = u"http://fresh/"_s;
    EXPECT_EQ(manager->saveMenuItem(), u"httpfresh"_s);
    EXPECT_EQ(readConfig(u"httpfresh"_s).value(u"name"_s), u"Fresh"_s);
    EXPECT_EQ(manager->count(), 2);
    EXPECT_EQ(manager->fileNameAt(manager->selectedRow()), u"httpfresh"_s);
}

TEST_F(ConfigTest, ListingSkipsWhatIsNotAConfiguration)
{
    writeUrl(u"b-site"_s, u"http://b/"_s);
    writeConfig(u"a-site"_s, { { u"url"_s, u"http://a/"_s }, { u"name"_s, u"Site A"_s } });
    writeUrl(u".hidden"_s, u"http://h/"_s);
    writeUrl(u"lastused"_s, u"http://l/"_s);
    writeConfig(u"nourlhere"_s, { { u"name"_s, u"x"_s } });
    QDir(test::home()).mkpath(u"temp"_s);
    QDir(test::home()).mkpath(u"thumbs"_s);
    writeBytes(pathOf(u"junk"_s), "not a property list");
    // The sitemap upload details are not a configuration either.
    manager->saveFtpDetails({ u"ftp.example.test"_s, u"htdocs"_s, u"me"_s, u"pw"_s });

    manager->loadAllUrls();
    EXPECT_EQ(manager->fileNameCollection(), (QStringList { u"a-site"_s, u"b-site"_s }));
    EXPECT_EQ(manager->nameCollection(), (QStringList { u"Site A"_s, u"http://b/"_s }));
    EXPECT_EQ(manager->getUrlForFilename(u"b-site"_s), u"http://b/"_s);
    EXPECT_EQ(manager->getNameForURL(u"http://a/"_s), u"Site A"_s);
    EXPECT_TRUE(manager->getNameForURL(u"http://z/"_s).isNull());
    EXPECT_EQ(manager->findConfiguration(u"Site A"_s), 0);
    EXPECT_EQ(manager->findConfiguration(u"b-site"_s), 1);
    EXPECT_EQ(manager->findConfiguration(u"nourlhere"_s), -1);
}

TEST_F(ConfigTest, FewerThanTwoConfigurationsClosesTheDrawer)
{
    const QString drawer = QLatin1String(DefaultsKey::DrawerOpen);
    UserDefaults::setValue(drawer, true);
    writeUrl(u"one"_s, u"http://1/"_s);
    int signalled = 0;
    QObject::connect(manager.get(), &OrelConfigManager::fewConfigurationsChanged,
        [&](bool few) { signalled += few ? 1 : 0; });
    manager->loadAllUrls();
    EXPECT_TRUE(manager->hasFewConfigurations());
    EXPECT_EQ(signalled, 1);
    EXPECT_FALSE(UserDefaults::boolValue(drawer));

    writeUrl(u"two"_s, u"http://2/"_s);
    manager->loadAllUrls();
    EXPECT_FALSE(manager->hasFewConfigurations());
    // With enough configurations a request to open the drawer is honoured once.
    UserDefaults::setValue(drawer, true);
    EXPECT_TRUE(OrelConfigManager::takeDrawerOpenRequest());
    EXPECT_FALSE(OrelConfigManager::takeDrawerOpenRequest());
}

TEST_F(ConfigTest, DeleteAsksAndOnlyContinueDeletes)
{
    writeConfig(u"first"_s, fullConfig(u"http://first/"_s, u"First"_s));
    writeConfig(u"second"_s, fullConfig(u"http://second/"_s, u"Second"_s));
    manager->loadAllUrls();
    EXPECT_FALSE(manager->deleteMenuItem()); // nothing selected
    manager->selectRow(1);
    manager->setCrawlRunning(true);
    EXPECT_FALSE(manager->deleteMenuItem());
    manager->setCrawlRunning(false);
    EXPECT_EQ(test::dialogs().countCalls(u"alert"_s), 0);

    test::dialogs().alertAnswers.enqueue(1); // Cancel
    EXPECT_FALSE(manager->deleteMenuItem());
    ASSERT_EQ(test::dialogs().calls.size(), 1);
    EXPECT_EQ(test::dialogs().calls[0].title, u"Delete Configuration"_s);
    EXPECT_EQ(test::dialogs().calls[0].buttons, (QStringList { u"Continue"_s, u"Cancel"_s }));
    EXPECT_TRUE(QFile::exists(pathOf(u"second"_s)));

    test::dialogs().alertAnswers.enqueue(0); // Continue
    EXPECT_TRUE(manager->deleteMenuItem());
    EXPECT_FALSE(QFile::exists(pathOf(u"second"_s)));
    EXPECT_EQ(manager->fileNameCollection(), QStringList { u"first"_s });
    // The row above is selected and shown.
    EXPECT_EQ(manager->selectedRow(), 0);
    EXPECT_EQ(controls->urlField, u"http://first/"_s);
    EXPECT_FALSE(manager->isEdited());

    // Deleting the last one leaves the defaults.
    test::dialogs().alertAnswers.enqueue(0);
    EXPECT_TRUE(manager->deleteMenuItem());
    EXPECT_EQ(manager->count(), 0);
    EXPECT_EQ(manager->selectedRow(), -1);
    EXPECT_TRUE(controls->urlField.isEmpty());
    EXPECT_TRUE(manager->getCheckBlacklistArray().isEmpty());
}

TEST_F(ConfigTest, StatusAndDateStampGoToTheFileAndTheStatusLine)
{
    writeUrl(u"site"_s, u"http://s/"_s);
    manager->loadAllUrls();
    manager->setStatus(u"ignored: nothing selected"_s);
    EXPECT_FALSE(readConfig(u"site"_s).contains(u"status"_s));

    manager->selectRow(0);
    EXPECT_TRUE(manager->statusLine().isEmpty());
    manager->setStatus(u"no bad links"_s);
    manager->setDateStamp();
    const QVariantMap stored = readConfig(u"site"_s);
    const QString stamp = stored.value(u"dateStamp"_s).toString();
    EXPECT_TRUE(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$"_s)
                    .match(stamp)
                    .hasMatch())
        << stamp.toStdString();
    EXPECT_EQ(stored.value(u"status"_s), u"no bad links"_s);
    EXPECT_EQ(manager->statusLine(), u"Last checked "_s + stamp + u" no bad links"_s);
    // Applying the file builds the other form of the line, with a comma.
    manager->selectRow(0);
    EXPECT_EQ(manager->statusLine(), u"Last checked "_s + stamp + u", no bad links"_s);

    // A configuration whose file has gone is left alone.
    QFile::remove(pathOf(u"site"_s));
    manager->setStatus(u"x"_s);
    EXPECT_FALSE(QFile::exists(pathOf(u"site"_s)));
}

TEST_F(ConfigTest, UnsavedChangesAreSavedOnlyWhenTheUserSaysSo)
{
    writeUrl(u"site"_s, u"http://s/"_s);
    manager->loadAllUrls();
    for (const int answer : { 1, 0 }) { // Don't save, then Save
        manager->selectRow(0);
        controls->setByName(u"numberOfThreads"_s, u"5"_s);
        EXPECT_TRUE(manager->isEdited());
        test::dialogs().alertAnswers.enqueue(answer);
        manager->newURL();
        EXPECT_EQ(test::dialogs().calls.last().title, u"Unsaved changes"_s);
        EXPECT_EQ(readConfig(u"site"_s).value(u"numberOfThreads"_s).toString(),
            answer == 0 ? u"5"_s : QString());
        EXPECT_TRUE(manager->isCreatingNewConfig());
    }
    // Without edits nobody is asked.
    test::resetDialogs();
    manager->newURL();
    EXPECT_EQ(test::dialogs().countCalls(u"alert"_s), 0);
}

TEST_F(ConfigTest, OpenedSettingsAreSavedBackAndExportGoesThroughTheSavePanel)
{
    const QString outside = test::home() + u"/elsewhere/site.lcsettings"_s;
    QDir().mkpath(QFileInfo(outside).path());
    ASSERT_TRUE(Plist::writeFile(outside, fullConfig(u"http://o/"_s, u"Outside"_s)));
    QString error;
    ASSERT_TRUE(manager->openSettings(outside, &error)) << error.toStdString();
    EXPECT_EQ(controls->urlField, u"http://o/"_s);
    controls->timeoutField = 12;
    EXPECT_EQ(manager->saveMenuItem(), outside);
    EXPECT_EQ(readPlist(outside).value(u"timeOut"_s), u"12"_s);
    EXPECT_EQ(readPlist(outside).value(u"name"_s), u"Outside"_s);
    EXPECT_TRUE(QDir(test::home()).entryList(QDir::Files).isEmpty());
    EXPECT_FALSE(manager->openSettings(test::home() + u"/missing"_s, &error));
    EXPECT_FALSE(error.isEmpty());

    test::dialogs().panelAnswers.enqueue(test::home() + u"/out"_s);
    EXPECT_TRUE(manager->exportMenuItem());
    EXPECT_EQ(test::dialogs().calls.last().title, u"lcsettings"_s);
    const QVariantMap written = readPlist(test::home() + u"/out.lcsettings"_s);
    EXPECT_EQ(written.value(u"checkBlacklist"_s), u"logout,/print/"_s);
    EXPECT_FALSE(written.contains(u"selectedConfig"_s));
    EXPECT_FALSE(manager->exportMenuItem()); // cancelled
}

TEST_F(ConfigTest, LastUsedSettingsComeBackWithTheirRow)
{
    writeUrl(u"a"_s, u"http://a/"_s);
    writeUrl(u"b"_s, u"http://b/"_s);
    manager->loadAllUrls();
    manager->selectRow(1);
    controls->setByName(u"numberOfThreads"_s, u"3"_s);
    manager->addBlacklistRule(u"x"_s, OrelConfigManager::OnlyFollow);
    manager->saveLastUsedSettings();

    SettingsControls otherControls;
    OrelConfigManager other(&otherControls);
    other.loadAllUrls();
    other.implementLastUsedSettings();
    EXPECT_EQ(other.selectedRow(), 1);
    EXPECT_EQ(otherControls.numberOfThreads, 3);
    EXPECT_EQ(other.getFollowWhitelistArray(), QStringList { u"x"_s });
    EXPECT_TRUE(other.isEdited()); // the edits were never saved

    manager->saveBlankSettings();
    EXPECT_EQ(readPlist(AppSupport::lastUsedFile()), OrelConfigManager::compileBlankDict());
}

TEST_F(ConfigTest, ApplyingOneKeyIsStrict)
{
    const std::tuple<QString, QString, bool> cases[] = { // key, value, accepted
        { u"noSuchKey"_s, u"1"_s, false }, { u"numberOfThreads"_s, u"many"_s, false },
        { u"numberOfThreads"_s, u"4"_s, true }, { u"timeOut"_s, u"1.5s"_s, false },
        { u"timeOut"_s, u"0"_s, true }, { u"checkImages"_s, u"maybe"_s, false },
        { u"checkImages"_s, u"yes"_s, true }, { u"followCheckbox"_s, u"off"_s, true },
        { u"sitemapRules"_s, u"junk"_s, false }
    };
    for (const auto &[key, value, ok] : cases) {
        QString error;
        EXPECT_EQ(manager->applySettingsKey(key, value, &error), ok)
            << key.toStdString() << "=" << value.toStdString();
        EXPECT_EQ(error.isEmpty(), ok) << key.toStdString();
    }
    // The load rules still apply, and the other settings are untouched.
    EXPECT_EQ(controls->numberOfThreads, 4);
    EXPECT_EQ(controls->timeoutField, 30.0);
    EXPECT_EQ(controls->imgButton, CheckState::On);
    EXPECT_EQ(controls->followButton, CheckState::On);

    const QString rules
        = u"contains=blog priority=0.3 update=daily; contains=a b priority=1 update=never"_s;
    ASSERT_TRUE(manager->applySettingsKey(u"sitemapRules"_s, rules));
    EXPECT_EQ(OrelConfigManager::showSitemapRules(manager->getSitemapRules()), rules);
    EXPECT_EQ(manager->sitemapRuleValue(1, u"contains"_s), u"a b"_s);
}

TEST_F(ConfigTest, ThumbnailPrefersTiffThenTifThenTheDefaultIcon)
{
    QDir().mkpath(AppSupport::thumbsFolder());
    const QString base = AppSupport::thumbsFolder() + u"/site"_s;
    EXPECT_EQ(OrelConfigManager::getThumbForFilename(u"site"_s), u"defaultWebIcon"_s);
    writeBytes(base + u".tif"_s, {});
    EXPECT_EQ(OrelConfigManager::getThumbForFilename(u"site"_s), base + u".tif"_s);
    writeBytes(base + u".tiff"_s, {});
    EXPECT_EQ(OrelConfigManager::getThumbForFilename(u"site"_s), base + u".tiff"_s);
}

TEST_F(ConfigTest, FtpDetailsAreStoredPrivatelyAndThePasswordNeverLogged)
{
    test::LogCapture logs;
    manager->saveFtpDetails({ u"ftp.example.test"_s, u"htdocs"_s, u"me"_s, u"s3cret-pw"_s });
    EXPECT_TRUE(logs.contains(
        u"saveFtpDetails called, writing to "_s + OrelConfigManager::ftpDetailsPath()));
    for (const QString &line : logs.lines)
        EXPECT_FALSE(line.contains(u"s3cret-pw"_s));
    const QFileDevice::Permissions others = QFileDevice::ReadGroup | QFileDevice::ReadOther;
    EXPECT_EQ((QFile::permissions(OrelConfigManager::ftpDetailsPath()) & others).toInt(), 0);
    const OrelConfigManager::FtpDetails back = OrelConfigManager::loadFtpDetails();
    EXPECT_EQ(back.server, u"ftp.example.test"_s);
    EXPECT_EQ(back.password, u"s3cret-pw"_s);
}
