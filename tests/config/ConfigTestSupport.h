// Shared set-up of the configuration tests: an empty application-support folder, fresh
// controls and manager, and helpers to put configuration files into the folder.
#pragma once

#include "common/AppSupport.h"
#include "common/Plist.h"
#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"

#include "TestHome.h"

#include <gtest/gtest.h>

#include <QFile>

#include <memory>

using namespace Qt::StringLiterals;

namespace orel::test {

class ConfigTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        wipeHome();
        resetDialogs();
        controls = std::make_unique<SettingsControls>();
        manager = std::make_unique<OrelConfigManager>(controls.get());
    }

    static QString pathOf(const QString &fileName) { return home() + u'/' + fileName; }
    static QVariantMap readPlist(const QString &path)
    {
        return Plist::readFile(path).value_or(QVariant()).toMap();
    }
    static QVariantMap readConfig(const QString &fileName) { return readPlist(pathOf(fileName)); }
    static void writeConfig(const QString &fileName, const QVariantMap &dict)
    {
        ASSERT_TRUE(Plist::writeFile(pathOf(fileName), dict));
    }

    std::unique_ptr<SettingsControls> controls;
    std::unique_ptr<OrelConfigManager> manager;
};

} // namespace orel::test
