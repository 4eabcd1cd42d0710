// The drop-in that quenmark setup writes for the service's unit.

#include "Tools/Sandbox.h"

#include "SetupFixture.h"

namespace ToolTest {

namespace fs = std::filesystem;
namespace Sandbox = Tools::Sandbox;

class TheSandbox : public ASetup {
protected:
    std::string file() const { return home.config().path("systemd/user/quenmark.service.d/quenmark-setup.conf"); }
    std::string content() const { return home.config().read("systemd/user/quenmark.service.d/quenmark-setup.conf"); }
    /// The options of a set-up that asks nobody.
    static std::vector<std::string> into(const std::string& path) {
        return {"--host", "h", "--user", "1", "--computer", "2", "--path", path};
    }
    /// What the text for a folder says beyond what it says for each.
    static std::string linesFor(const std::string& path) {
        const std::string text = Sandbox::textFor(path);
        const std::string common = "\nReadWritePaths=-%E/quenmark\n";
        const auto place = text.find(common);
        EXPECT_NE(place, std::string::npos) << text;
        return text.substr(place + common.size());
    }
};

TEST_F(TheSandbox, IsWrittenByASetup) {
    EXPECT_EQ(setUp(into(home.path("items"))).status, 0);
    EXPECT_EQ(content(),
              "# Written by quenmark setup, which replaces it: settings of your own belong into another file of this "
              "folder.\n"
              "[X-Quenmark]\n"
              "Folder=" +
                  home.path("items") +
                  "\n\n"
                  "[Service]\n"
                  "ProtectSystem=strict\n"
                  "# The home is one mount, so that a file is moved into its place by rename(2).\n"
                  "ReadWritePaths=%h -%C\n"
                  "# What decides on the programs that the user runs, this file among it, as far as it is there.\n"
                  "ReadOnlyPaths=-%E -%h/.local -%h/bin -%h/.profile -%h/.bash_profile -%h/.bash_login -%h/.bashrc "
                  "-%h/.bash_logout -%h/.zshenv -%h/.zprofile -%h/.zshrc -%h/.zlogin -%h/.zlogout -%h/.xsessionrc "
                  "-%h/.xprofile\n"
                  "ReadWritePaths=-%E/quenmark\n" +
                  linesFor(home.path("items")));
    EXPECT_EQ(fs::status(file()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(TheSandbox, IsForTheFolderOfTheLastSetup) {
    EXPECT_EQ(setUp(into(home.path("one"))).status, 0);
    EXPECT_EQ(setUp({"--path", home.path("two")}).status, 0);
    EXPECT_EQ(content(), Sandbox::textFor(home.path("two")));
    EXPECT_NE(content(), Sandbox::textFor(home.path("one")));
}

TEST_F(TheSandbox, NamesAFolderAsTheServiceManagerReadsIt) {
    EXPECT_EQ(linesFor("/srv/Grüße 漢"), "ReadWritePaths=\"-/srv/Grüße 漢\"\n");
    EXPECT_EQ(linesFor(R"(/srv/100% "mine"\ 'x'$HOME)"), R"(ReadWritePaths="-/srv/100%% \"mine\"\\ 'x'$HOME")"
                                                         "\n");
    EXPECT_EQ(linesFor("/srv/%h\\"), "ReadWritePaths=\"-/srv/%%h\\\\\"\n");
    EXPECT_EQ(linesFor("/srv/a:b"), "ReadWritePaths=\"-/srv/a:b\"\n");
}

TEST_F(TheSandbox, BindsAFolderThatThePrivateOneWouldHide) {
    // Of names that nothing has, so that no link is followed.
    EXPECT_EQ(linesFor("/tmp/no such: \"folder\""), "BindPaths=\"-/tmp/no such\\: \\\"folder\\\"\"\n");
    EXPECT_EQ(linesFor("/var/tmp/no such folder"), "BindPaths=\"-/var/tmp/no such folder\"\n");
    EXPECT_EQ(linesFor("/tmpdir/no such folder"), "ReadWritePaths=\"-/tmpdir/no such folder\"\n");
}

TEST_F(TheSandbox, NamesNoFolderThatEverybodyWritesTo) {
    EXPECT_EQ(linesFor("/"), "ReadWritePaths=\"-/Quenmark\"\n");
    EXPECT_EQ(linesFor("/tmp"), "BindPaths=\"-/tmp/Quenmark\"\n");
    EXPECT_EQ(linesFor("/var/tmp"), "BindPaths=\"-/var/tmp/Quenmark\"\n");
}

TEST_F(TheSandbox, NamesThePlaceWhereADiskIsMounted) {
    // A file system of its own on every Linux.
    EXPECT_EQ(linesFor("/proc/self"), "ReadWritePaths=\"-/proc\"\n");
}

TEST_F(TheSandbox, NamesWhereLinksLeadTo) {
    fs::create_directory_symlink("/proc/self", home.path("disk"));
    EXPECT_EQ(linesFor(home.path("disk")), "ReadWritePaths=\"-/proc\"\n");
    fs::create_directory(home.path("items"));
    fs::create_directory_symlink("/proc", home.path("items/Quenmark"));
    const auto lines = linesFor(home.path("items"));
    EXPECT_TRUE(lines.ends_with("\nReadWritePaths=\"-/proc\"\n")) << lines;
    EXPECT_NE(lines, "\nReadWritePaths=\"-/proc\"\n");
}

TEST_F(TheSandbox, IsPutBackWhereThePreferencesCannotBeWritten) {
    fs::create_directories(home.config().path("quenmark/.Velkarin.Quenmark.json.lock"));
    EXPECT_EQ(setUp(into(home.path("items"))).status, 74);
    EXPECT_FALSE(fs::exists(file()));
    home.config().write("systemd/user/quenmark.service.d/quenmark-setup.conf", "before");
    EXPECT_EQ(setUp(into(home.path("items"))).status, 74);
    EXPECT_EQ(content(), "before");
    EXPECT_FALSE(hasSettings());
}

TEST_F(TheSandbox, EndsASetupWhereItCannotBeWritten) {
    home.config().write("systemd", "a file is in the way");
    const auto result = setUp(into(home.path("items")));
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.errors, "quenmark: " + file() + ": Not a directory\n");
    EXPECT_FALSE(hasSettings());
    EXPECT_FALSE(fs::exists(home.path("items")));
}

TEST_F(TheSandbox, DoesNotLetAServiceWriteToAFolderOfLaterPreferences) {
    const auto set = [&](const std::string& path) { return run({"prefs", "set", "quenmarkPathKey", path}).errors; };
    EXPECT_EQ(set(folder.path()), "");
    EXPECT_EQ(setUp(into(home.path("items"))).status, 0);
    EXPECT_EQ(set(home.path()), "") << "the home may be written to";
    EXPECT_EQ(set(folder.path()), "quenmark: quenmark.service may not write there; to let it, run: quenmark setup\n");
    const auto doctor = run({"doctor"}).output;
    EXPECT_NE(doctor.find("quenmark.service may not write there by " + file()), std::string::npos) << doctor;
    EXPECT_EQ(setUp({}).status, 0);
    EXPECT_EQ(set(folder.path()), "");
    EXPECT_EQ(run({"doctor"}).output.find("quenmark.service may not write there"), std::string::npos);
}

TEST_F(TheSandbox, CoversWhatTheServiceMayWriteTo) {
    const TestSupport::TemporaryDirectory elsewhere;
    fs::create_directories(home.path("items"));
    fs::create_directories(elsewhere.path("own/inner"));
    fs::create_directory_symlink(folder.path(), home.path("link"));
    EXPECT_TRUE(Sandbox::covers(folder.path())) << "there is no drop-in";
    EXPECT_EQ(setUp(into(elsewhere.path("own"))).status, 0);
    for (const auto& path : {home.path(), home.path("items"), home.path("none"), elsewhere.path("own"),
                             elsewhere.path("own/inner"), elsewhere.path("own/none")})
        EXPECT_TRUE(Sandbox::covers(path)) << path;
    for (const auto& path :
         {home.path("link"), home.path(".local/share/q"), home.path(".local"), home.path("bin/q"),
          home.config().path("q"), elsewhere.path(), elsewhere.path("other"), elsewhere.path("own-too"), folder.path()})
        EXPECT_FALSE(Sandbox::covers(path)) << path;
    home.config().write("systemd/user/quenmark.service.d/quenmark-setup.conf", "[Service]\n");
    EXPECT_TRUE(Sandbox::covers(folder.path())) << "it is not a set-up's";
}

TEST_F(TheSandbox, CoversEveryFolderOfADiskThatItNames) {
    EXPECT_EQ(setUp(into(home.path("items"))).status, 0);
    EXPECT_FALSE(Sandbox::covers("/proc/self"));
    home.config().write("systemd/user/quenmark.service.d/quenmark-setup.conf", Sandbox::textFor("/proc/1"));
    EXPECT_TRUE(Sandbox::covers("/proc/self"));
}

} // namespace ToolTest
