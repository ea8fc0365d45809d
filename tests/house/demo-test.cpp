#include "demo.h"
#include "example-home.h"
#include "house/faults.h"

#include <gmock/gmock.h>

using namespace house;

TEST_F(Demo, refusesANumberOfPollsThatIsNoneOrOutOfRange) {
    for (const std::string polls :
         {"-1", "0", "100001", "99999999999999999999", "x", "1.5", "0x10", ""})
        EXPECT_EQ(run("script/demo --polls '" + polls + "'"),
                  refused("--polls: '" + polls + "' is no whole number from 1 to 100000"));
}

TEST_F(Demo, refusesAFaultThatIsNone) {
    for (const std::string fault :
         {"3", "3=loud", "03=silent", "0=silent", "3=exception:12", "3=late:0", "3=unit:248",
          "attached=status:200", "meters=status:500", ""})
        EXPECT_EQ(run("script/demo --fault '" + fault + "'"),
                  refused("--fault: '" + fault + "' is no fault"));
}

TEST_F(Demo, passesEachFormOfAFaultOnThatTheHouseTakes) {
    for (const std::string fault :
         {"1=silent", "247=exception:11", "3=late:99999", "3=garbled", "3=unit:247",
          "rtuconfig=status:400", "attached=status:503", "supported=status:599"}) {
        EXPECT_TRUE(faults::isFault(fault)) << fault;
        EXPECT_THAT(run("script/demo --fault " + fault).standardOutput,
                    testing::HasSubstr("--fault\n" + fault + "\n"));
    }
}

TEST_F(Demo, tellsItsVersion) {
    m_directory.write("CMakeLists.txt", "project(modbus-reader VERSION 1.2.3 LANGUAGES C CXX)\n");

    EXPECT_EQ(run("script/demo --version"),
              (ProgramResult{0, "demo of modbus-reader 1.2.3\n", ""}));
}

TEST_F(Demo, refusesAnOptionWithoutItsValue) {
    for (const std::string option : {"--polls", "--home", "--fault", "--listen"})
        EXPECT_EQ(run("script/demo " + option), refused(option + " needs a value"));
}

TEST_F(Demo, refusesAnUnknownOption) {
    EXPECT_EQ(run("script/demo --colour"), refused("There is no option '--colour'"));
}

TEST_F(Demo, refusesAHomeThatIsNoFile) {
    EXPECT_EQ(run("script/demo --home none"), refused("--home: 'none' does not exist"));
    EXPECT_EQ(run("script/demo --home ''"), refused("--home: '' does not exist"));
    EXPECT_EQ(run("script/demo --home tools"), refused("--home: 'tools' is no file"));
    EXPECT_EQ(run("script/demo --home /dev/null"), refused("--home: '/dev/null' is no file"));
}

TEST_F(Demo, refusesAHomeThatItsPrivateWorldDoesNotHave) {
    EXPECT_EQ(run("script/demo --home /etc/passwd"),
              refused("--home: '/etc/passwd' is out of reach, as the demo has folders /dev, /etc "
                      "and /run of its own"));
}

TEST_F(Demo, refusesAHomeThatIsNoJsonBeforeTheBuild) {
    const std::string file = m_directory.write("home.json", "{\"server\": x}");

    EXPECT_EQ(run("script/demo --home home.json"),
              (ProgramResult{2, "",
                             "bootstrap\nscript/demo: --home: '" + file +
                                 "' is no JSON: Expecting value: line 1 column 12 (char 11)\n"
                                 "Run script/demo --help for more information.\n"}));
}

TEST_F(Demo, takesTheHomeFromTheCallersFolder) {
    std::filesystem::create_directory(m_directory.path() / "elsewhere");
    const std::string file = m_directory.write("elsewhere/home.json", exampleHome());

    const ProgramResult result = run("cd elsewhere; ../script/demo --home home.json");

    EXPECT_EQ(result.status, 0) << result;
    EXPECT_NE(result.standardOutput.find("\n--home\n" + file + "\n"), std::string::npos) << result;
}

TEST_F(Demo, passesItsOptionsOnToTheHouse) {
    const ProgramResult result =
        run("script/demo --rtu --polls 3 --fault 3=silent --fault attached=status:500");

    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.standardOutput.find("\n--rtu\n/dev/ttymxc2\n--polls\n3\n--fault\n3=silent\n"
                                         "--fault\nattached=status:500\n--daemon\n"
                                         "build/release/modbus-reader\n--log\nbuild/demo/"),
              std::string::npos)
        << result;
    EXPECT_EQ(result.standardError, built);
}

TEST_F(Demo, worksThroughASymbolicLink) {
    std::filesystem::create_directory(m_directory.path() / "elsewhere");
    std::filesystem::create_symlink("../script/demo", m_directory.path() / "elsewhere/try");

    const ProgramResult result = run("cd elsewhere; ./try");

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.standardError, built);
}

TEST_F(Demo, makesABuildFolderOfAnotherPlaceAnew) {
    const ProgramResult result =
        run("echo CMAKE_HOME_DIRECTORY:INTERNAL=/elsewhere >build/release/CMakeCache.txt\n"
            "script/demo; ls build");

    EXPECT_TRUE(result.standardError.starts_with(
        "bootstrap\nbuild/release was made for /elsewhere and is made anew.\ncmake"))
        << result;
    EXPECT_TRUE(result.standardOutput.ends_with("\ndemo\nhouse\ninspector\n")) << result;
}

TEST_F(Demo, keepsItsBuildFolder) {
    const ProgramResult result =
        run("echo \"CMAKE_HOME_DIRECTORY:INTERNAL=$PWD\" >build/release/CMakeCache.txt\n"
            "script/demo; ls build/release");

    EXPECT_EQ(result.standardError, built);
    EXPECT_TRUE(
        result.standardOutput.ends_with("\nCMakeCache.txt\nmodbus-house\nmodbus-inspector\n"))
        << result;
}

TEST_F(Demo, saysThatSudoIsMissing) {
    replace("script/bootstrap", "exit 127");

    // In a user namespace of its own the user is not root, whoever runs the test.
    EXPECT_EQ(run("chmod -R a+rX .; ln -s /usr/bin/{bash,readlink,dirname} path; PATH=$PWD/path\n"
                  "/usr/bin/unshare --user script/demo"),
              (ProgramResult{
                  1, "",
                  "script/demo: Packages are missing, and there is no sudo to install them with.\n"
                  "script/demo: Run script/bootstrap as root, or install sudo, and start the demo "
                  "again.\n"}));
}

TEST_F(Demo, saysThatPackagesCouldNotBeInstalled) {
    replace("script/bootstrap", "exit 100");
    replace("path/sudo", "exit 1");

    EXPECT_EQ(run("script/demo"),
              (ProgramResult{1, "",
                             "script/demo: Packages are missing and could not be installed, see "
                             "above.\n"}));
}

TEST_F(Demo, saysHowAUserGetsAPrivateWorld) {
    replace("path/unshare", "echo unshare failed >&2; exit 1");

    EXPECT_EQ(run("chmod -R a+rX .; /usr/bin/unshare --user script/demo"),
              (ProgramResult{
                  1, "",
                  "bootstrap\n"
                  "unshare failed\n"
                  "script/demo: This user cannot have a private world, which takes user "
                  "namespaces.\n"
                  "script/demo: Allow them as root, by those of these settings that the kernel "
                  "has:\n"
                  "script/demo:   sysctl kernel.unprivileged_userns_clone=1 "
                  "user.max_user_namespaces=10000\n"
                  "script/demo:   sysctl kernel.apparmor_restrict_unprivileged_userns=0\n"
                  "script/demo: or run the demo as root.\n"}));
}

TEST_F(Demo, keepsTheLastLogsAndThoseOfDemosThatRun) {
    const ProgramResult result = run(R"(
        mkdir build/demo
        for day in {10..25}; do touch "build/demo/modbus-reader-202611$day-120000-999999999.log"; done
        touch "build/demo/modbus-reader-20251101-120000-$$.log" build/demo/notes
        touch build/demo/modbus-reader-20261110-120000-999999999.words
        script/demo
        ls build/demo)");

    std::string kept = "\nmodbus-reader-20251101-120000-";
    EXPECT_NE(result.standardOutput.find(kept), std::string::npos) << result;
    EXPECT_EQ(result.standardOutput.find("modbus-reader-20261116-"), std::string::npos);
    EXPECT_NE(result.standardOutput.find("modbus-reader-20261117-"), std::string::npos);
    // Nine older ones, the one that runs, and the notes; the house of the test writes no log, and
    // the words of one that was killed went with its log.
    EXPECT_EQ(numberOfLogs(), 11U);
}
