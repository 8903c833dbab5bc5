#include "hostcore/debug.h"
#include "hostcore/threads.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace {

using hostcore::debug::DebugDatabase;

TEST(DebugDatabaseTest, ParsesKeyValueLines) {
    const auto entries = DebugDatabase::Parse(
        "# a comment\n"
        "Stereon.TheaterModeDistance = 3.5\n"
        "  VidariumVR.PanelDrawMode=1  \r\n"
        "\n"
        "no equals sign here\n"
        " = value without key\n"
        "Stereon.EnableTheaterMode = true\n"
        "Stereon.EnableTheaterMode = false\n"
        "Empty.Value =\n"
        "Has.Equals = a=b\n"
        "   # indented comment = ignored\n"
        "Last.Line.Without.End = x");
    const std::map<std::string, std::string> expected{{"Stereon.TheaterModeDistance", "3.5"},
                                                      {"VidariumVR.PanelDrawMode", "1"},
                                                      {"Stereon.EnableTheaterMode", "false"},
                                                      {"Empty.Value", ""},
                                                      {"Has.Equals", "a=b"},
                                                      {"Last.Line.Without.End", "x"}};
    EXPECT_EQ(entries, expected);
}

TEST(DebugDatabaseTest, SetEntriesWinOverTheFileNamedByTheEnvironment) {
    const std::string path = ::testing::TempDir() + "debugdb_" + std::to_string(::getpid());
    std::ofstream(path) << "Stereon.MipmapLODBias = 0.5\nStereon.UseVideoTexMipmap=true\n";
    ::setenv("STEREON_DEBUG_DB", path.c_str(), 1);
    DebugDatabase& db = DebugDatabase::Instance();
    ASSERT_TRUE(db.Reload());
    db.ClearEntries();
    EXPECT_EQ(db.GetEntry("Stereon.UseVideoTexMipmap", "false"), "true");
    EXPECT_EQ(db.GetEntry("Stereon.TheaterModeScale", "2.0"), "2.0");
    EXPECT_FALSE(db.HasEntry("Stereon.TheaterModeScale"));

    db.SetEntry("Stereon.MipmapLODBias", "-1");
    EXPECT_EQ(db.GetEntry("Stereon.MipmapLODBias", "0"), "-1");
    db.RemoveEntry("Stereon.MipmapLODBias");  // back to the file's value
    EXPECT_EQ(db.GetEntry("Stereon.MipmapLODBias", "0"), "0.5");
    db.SetEntry("Stereon.TheaterModeScale", "4");
    db.ClearEntries();
    EXPECT_EQ(db.GetEntry("Stereon.TheaterModeScale", "2.0"), "2.0");

    // The file changes: a reload sees it. A file that cannot be read leaves no file entries.
    std::ofstream(path) << "Stereon.MipmapLODBias = 2\n";
    ASSERT_TRUE(db.Reload());
    EXPECT_EQ(db.GetEntry("Stereon.MipmapLODBias", "0"), "2");
    EXPECT_EQ(db.GetEntry("Stereon.UseVideoTexMipmap", "false"), "false");
    ::setenv("STEREON_DEBUG_DB", (path + ".missing").c_str(), 1);
    EXPECT_FALSE(db.Reload());
    EXPECT_EQ(db.GetEntry("Stereon.MipmapLODBias", "0"), "0");

    ::unsetenv("STEREON_DEBUG_DB");
    EXPECT_TRUE(db.Reload());
    std::remove(path.c_str());
}

// Captures trace lines for one test and puts stderr back afterwards.
class TraceTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostcore::debug::ResetTraceLevels();
        hostcore::debug::ClearRecordedAssertions();
        hostcore::debug::SetTraceSink([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(mutex);
            lines.push_back(line);
        });
    }
    void TearDown() override {
        hostcore::debug::SetTraceSink(nullptr);
        hostcore::debug::ResetTraceLevels();
        hostcore::debug::ClearRecordedAssertions();
    }
    std::vector<std::string> Lines() {
        std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }
    std::mutex mutex;
    std::vector<std::string> lines;
};

TEST_F(TraceTest, LinesCarryThreadCategoryAndLevelAndSitesFollowTheConfiguration) {
    using namespace hostcore::debug;
    Trace("STN", 4, "Warning: unrecognized HMD type (acme), assuming Rift.");  // whatever the level
    TraceSite warning("STN", 4);
    TraceSite detail("STN", 5);
    EXPECT_FALSE(warning.Enabled());
    EXPECT_FALSE(TraceEnabled("STN", 1));

    SetTraceLevel("STN", 4);
    EXPECT_TRUE(warning.Enabled());
    EXPECT_FALSE(detail.Enabled());
    EXPECT_TRUE(TraceEnabled("STN", 1));
    EXPECT_FALSE(TraceEnabled("GB", 1));

    warning.Write("shown");
    detail.Write("hidden");
    const std::string tid = "<" + std::to_string(hostcore::threads::GetCurrentThreadID()) + "> ";
    EXPECT_EQ(Lines(), (std::vector<std::string>{
                           tid + "<STN> <4> Warning: unrecognized HMD type (acme), assuming Rift.",
                           tid + "<STN> <4> shown"}));

    // The environment's syntax, with a wildcard for the rest.
    EXPECT_TRUE(ConfigureTraceFromString("STN=5, GB=2,*=1"));
    EXPECT_TRUE(detail.Enabled());
    EXPECT_FALSE(TraceEnabled("GB", 3));
    EXPECT_TRUE(TraceEnabled("Other", 1));
    EXPECT_FALSE(TraceEnabled("Other", 2));
    EXPECT_FALSE(ConfigureTraceFromString("STN=high,=3,GB"));
    EXPECT_TRUE(TraceEnabled("STN", 5));  // malformed items change nothing

    ResetTraceLevels();
    EXPECT_FALSE(detail.Enabled());
    EXPECT_FALSE(TraceEnabled("Other", 1));
}

TEST(TraceEnvironmentTest, TraceVariableIsReadAtFirstUse) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process that has not read it yet
    ::setenv("STEREON_TRACE", "STN=5,GB=2", 1);
    EXPECT_EXIT(
        {
            using hostcore::debug::TraceEnabled;
            const bool ok = TraceEnabled("STN", 5) && !TraceEnabled("STN", 6) &&
                            TraceEnabled("GB", 2) && !TraceEnabled("GB", 3) &&
                            !TraceEnabled("MF", 1);
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
    ::unsetenv("STEREON_TRACE");
}

// The library's assertion sites check the fields; here, the rest of the record and the line.
TEST_F(TraceTest, AssertionsAreRecordedWrittenAndNeverBreak) {
    using namespace hostcore::debug;
    EXPECT_FALSE(BreakAfterAssertDialog("Failed to create RenderContext.", "false",
                                        "Src/RenderThread.cpp", 321, "STN::RenderThread::Init"));
    EXPECT_FALSE(BreakAfterAssertDialog(nullptr, nullptr, nullptr, 0, nullptr));

    const std::vector<AssertionRecord> records = RecordedAssertions();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].line, 321);
    EXPECT_EQ(records[0].threadId, hostcore::threads::GetCurrentThreadID());
    EXPECT_EQ(records[1].message, "");

    // Written even though no trace level is set.
    ASSERT_EQ(Lines().size(), 2u);
    EXPECT_NE(
        Lines()[0].find("<ASSERT> <1> Assertion failed: Failed to create RenderContext. (false) at "
                        "Src/RenderThread.cpp:321 in STN::RenderThread::Init"),
        std::string::npos);
}

}  // namespace
