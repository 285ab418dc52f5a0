#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <csignal>

#include "app/CActionsManager.h"
#include "platform/runloop/Clock.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

class Actions : public ::testing::Test {
protected:
    void SetUp() override {
        for (const QString& folder : CActionsManager::actionsFolders()) {
            ASSERT_TRUE(QDir().mkpath(folder));
        }
    }
    void TearDown() override {
        for (const QString& folder : CActionsManager::actionsFolders()) {
            QDir(folder).removeRecursively();
        }
    }

    static void put(const QString& name, const QByteArray& contents, int folder = 0) {
        test::writeFile(CActionsManager::actionsFolders().at(folder) + u'/' + name, contents);
    }
    [[nodiscard]] QStringList loadedNames() {
        manager.loadActions();
        QStringList names;
        for (const auto& action : manager.actionsArray()) {
            names << action->name();
        }
        names.sort();
        return names;
    }

    UnattendedScriptSupervisor supervisor;
    CActionsManager manager{Clock::system(), supervisor, nullptr};
};

TEST_F(Actions, foldersAreBesideTheProgramAndInTheUsersData) {
    EXPECT_EQ(CActionsManager::actionsFolders(),
              (QStringList{QCoreApplication::applicationDirPath() + u"/Actions"_s,
                           QDir::homePath() + u"/.local/share/takebox/Actions"_s}));
    const QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    EXPECT_EQ(CActionsManager::actionsFolders().last(), data.filePath(u"takebox/Actions"_s));
    qunsetenv("XDG_DATA_HOME");
}

TEST_F(Actions, scriptIsLoadedAndATextFileIsNot) {
    put(u"Start Recording.scpt"_s, "return 1");
    put(u"notes.txt"_s, "Remember to rewind the tapes.\n");
    EXPECT_EQ(loadedNames(), QStringList{u"Start Recording"_s});
    EXPECT_EQ(manager.actionsArray().front()->fullPath(),
              QCoreApplication::applicationDirPath() + u"/Actions/Start Recording.scpt"_s);
    EXPECT_TRUE(manager.executeActionWithName(u"Start Recording"_s));
    EXPECT_FALSE(manager.executeActionWithName(u"start recording"_s));
    EXPECT_FALSE(manager.executeActionWithName(u"notes"_s));
}

TEST_F(Actions, exactlyTheValidScriptsOfAMixedFolderAreLoadedWithoutAMessage) {
    const QString folder = CActionsManager::actionsFolders().front();
    ASSERT_TRUE(QDir(folder).mkpath(u"Sub Folder.lua/inner"_s));
    put(u"Sub Folder.lua/inside.lua"_s, "return 1");
    QByteArray noise(10 << 20, '\0');
    QRandomGenerator random(7);
    random.fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
    put(u"noise.lua"_s, noise);
    put(u"small noise.lua"_s, noise.left(1000));
    QFile::copy(QCoreApplication::applicationFilePath(), folder + u"/program"_s);
    put(u"notes.txt"_s, "- tapes\n- batteries\n");
    put(u"empty.lua"_s, "");
    put(u"wrong.lua"_s, "while do");
    put(u"compiled.lua"_s, QByteArray::fromHex("1b4c7561540019930d0a1a0a"));
    put(u"secret.lua"_s, "return 1");
    ASSERT_EQ(chmod(qUtf8Printable(folder + u"/secret.lua"_s), 0), 0);
    ASSERT_EQ(mkfifo(qUtf8Printable(folder + u"/pipe.lua"_s), 0600), 0);
    ASSERT_TRUE(QFile::link(folder + u"/missing"_s, folder + u"/link.lua"_s));
    put(u"Start Recording.lua"_s, "return takebox ~= nil");
    put(u"Stop"_s, "local a = 1");
    put(u".hidden.lua"_s, "return 1");

    test::LogCapture log;
    QStringList expected{u".hidden"_s, u"Start Recording"_s, u"Stop"_s};
    if (geteuid() == 0) {
        expected.insert(3, u"secret"_s);  // root reads everything
    }
    QStringList found = loadedNames();
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Actions, folderBesideTheProgramComesFirst) {
    put(u"Both.lua"_s, "error()", 1);
    put(u"Both.scpt"_s, "return 1", 0);
    EXPECT_EQ(loadedNames(), (QStringList{u"Both"_s, u"Both"_s}));
    EXPECT_TRUE(manager.executeActionWithName(u"Both"_s));
}

TEST_F(Actions, onlyTheFirstOfOneNameRuns) {
    put(u"Twice.a"_s, "return takebox.log('ran a')");
    put(u"Twice.b"_s, "return takebox.log('ran b')");
    manager.loadActions();
    ASSERT_EQ(manager.actionsArray().size(), 2U);
    const bool aIsFirst = manager.actionsArray().front()->fullPath().endsWith(u".a"_s);
    test::LogCapture log;
    EXPECT_TRUE(manager.executeActionWithName(u"Twice"_s));
    EXPECT_TRUE(manager.executeActionWithName(u"Twice"_s));
    EXPECT_EQ(log.count("ran a"), aIsFirst ? 2 : 0);
    EXPECT_EQ(log.count("ran b"), aIsFirst ? 0 : 2);
}

TEST_F(Actions, missingFoldersGiveNoActions) {
    TearDown();
    EXPECT_EQ(loadedNames(), QStringList());
    EXPECT_FALSE(manager.executeActionWithName(u"Start Recording"_s));
}

TEST_F(Actions, filesAddedLaterAreSeenAfterLoadingAgainOnly) {
    EXPECT_EQ(loadedNames(), QStringList());
    put(u"Late.lua"_s, "return 1");
    EXPECT_FALSE(manager.executeActionWithName(u"Late"_s));
    EXPECT_EQ(loadedNames(), QStringList{u"Late"_s});
}

TEST_F(Actions, failureIsNoResultAndIsNotLogged) {
    put(u"Fails.lua"_s, "error('on purpose')");
    manager.loadActions();
    test::LogCapture log;
    EXPECT_FALSE(manager.executeActionWithName(u"Fails"_s));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Actions, scriptThatRunsKeepsOthersFromStartingAndCanBeEnded) {
    // As when the user is asked about a long script and something else happens meanwhile.
    struct Meddler : UnattendedScriptSupervisor {
        bool shouldEndScript(const QString& /*name*/, double /*seconds*/) override {
            other = actions->executeActionWithName(u"Other"_s);
            actions->endRunningScript();
            return false;
        }
        CActionsManager* actions = nullptr;
        bool other = true;
    } meddler;
    CActionsManager actions(Clock::system(), meddler, nullptr);
    meddler.actions = &actions;
    put(u"Endless.lua"_s, "while true do end");
    put(u"Other.lua"_s, "return 1");
    actions.loadActions();
    test::LogCapture log;
    EXPECT_FALSE(actions.executeActionWithName(u"Endless"_s));
    EXPECT_FALSE(meddler.other);
    EXPECT_TRUE(log.containsText("The script \"Other\" was not run"));
    EXPECT_TRUE(actions.executeActionWithName(u"Other"_s));
}

TEST_F(Actions, signalToEndEndsAScriptAtOnce) {
    put(u"Endless.lua"_s, "while true do end");
    manager.loadActions();
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigset_t signals;
        sigset_t before;
        sigemptyset(&signals);
        sigaddset(&signals, number);
        ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, &before), 0);
        ASSERT_EQ(pthread_kill(pthread_self(), number), 0);
        test::LogCapture log;
        EXPECT_FALSE(manager.executeActionWithName(u"Endless"_s));
        EXPECT_EQ(log.count("The script \"Endless\" was ended: the program is to end"), 1)
            << number;
        const timespec now{};
        EXPECT_EQ(sigtimedwait(&signals, nullptr, &now), number);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
}

}  // namespace
}  // namespace takebox
