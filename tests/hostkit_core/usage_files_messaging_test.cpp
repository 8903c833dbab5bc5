#include "hostcore/config.h"
#include "hostcore/filesupport.h"
#include "hostcore/messaging.h"
#include "hostcore/utility.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using hostcore::config::UsageLogger;

std::string TempPath(const char* stem) {
    return std::string(::testing::TempDir()) + stem + "_" + std::to_string(::getpid());
}

std::vector<nlohmann::ordered_json> ReadJsonLines(const std::string& path) {
    std::vector<nlohmann::ordered_json> lines;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(nlohmann::ordered_json::parse(line));
    }
    return lines;
}

TEST(UsageLoggerTest, EventsAreKeptAndWrittenAsJsonLinesWhenTheLastReferenceGoes) {
    const std::string path = TempPath("usage.jsonl");
    std::remove(path.c_str());
    boost::shared_ptr<UsageLogger> logger = UsageLogger::Get();
    ASSERT_TRUE(logger);
    logger->Clear();
    ASSERT_TRUE(logger->SetOutputFile(path));
    {
        auto event = logger->CreateUsageEvent("STN", "vidariumvr_initialization");
        ASSERT_TRUE(event);
        event->SetValue("result", "Failure");
        event->SetValue("reason", "VR_Init");
        auto keep = event;
        event.reset();
        EXPECT_TRUE(logger->Events().empty());  // still referenced
        keep->SetValue("result", "Success");    // replaces, keeps its place
    }
    {
        auto event = logger->CreateUsageEvent("STN", "vidariumvr_instance_metrics");
        event->SetValue("GPUDeviceName", "llvmpipe \"quoted\" \\ back\nslash \x01 caf\xC3\xA9");
        event->SetValue("HMDDeviceName", "");
    }
    ASSERT_TRUE(logger->SetOutputFile(""));
    EXPECT_EQ(logger->Events().size(), 2u);

    const auto lines = ReadJsonLines(path);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0]["category"], "STN");
    EXPECT_EQ(lines[0]["event"], "vidariumvr_initialization");
    EXPECT_EQ(lines[0]["values"].dump(), R"({"result":"Success","reason":"VR_Init"})");
    EXPECT_EQ(lines[1]["values"]["GPUDeviceName"],
              "llvmpipe \"quoted\" \\ back\nslash \x01 caf\xC3\xA9");
    EXPECT_EQ(lines[1]["values"].at("HMDDeviceName"), "");  // an empty value is still written

    // Events after the file was unset stay in memory only.
    logger->CreateUsageEvent("STN", "vidariumvr_instance_metrics");
    EXPECT_EQ(ReadJsonLines(path).size(), 2u);
    EXPECT_EQ(logger->Events().size(), 3u);
    logger->Clear();
    EXPECT_TRUE(logger->Events().empty());
    std::remove(path.c_str());

    // Nothing comes of an empty name, nor of a file that cannot be made.
    EXPECT_FALSE(logger->CreateUsageEvent("", "vidariumvr_initialization"));
    EXPECT_FALSE(logger->CreateUsageEvent("STN", ""));
    EXPECT_TRUE(logger->Events().empty());
    EXPECT_FALSE(logger->SetOutputFile("/nonexistent-directory/usage.jsonl"));
}

TEST(UsageLoggerTest, EnvironmentNamesTheFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process whose logger reads it
    const std::string path =
        std::string(::testing::TempDir()) + "hostkit_usage_env.jsonl";  // same in the child
    std::remove(path.c_str());
    ::setenv("STEREON_USAGE_LOG", path.c_str(), 1);
    EXPECT_EXIT(
        {
            auto event = UsageLogger::Get()->CreateUsageEvent("STN", "vidariumvr_initialization");
            event->SetValue("result", "Success");
            event.reset();
            std::exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    ::unsetenv("STEREON_USAGE_LOG");
    const auto lines = ReadJsonLines(path);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["values"]["result"], "Success");
    std::remove(path.c_str());
}

TEST(FileSupportTest, PathsAreBuiltByComponentsAndReturnedInUtf16) {
    using hostcore::filesupport::Dir;
    using hostcore::filesupport::File;
    using hostcore::utility::UTF16toStdString;

    const Dir base("/opt/host/modules/");
    EXPECT_EQ(base.Path(), "/opt/host/modules");
    const Dir winmr = base.Append("Stereon").Append("models").Append("winmr");
    EXPECT_EQ(winmr.Path(), "/opt/host/modules/Stereon/models/winmr");
    EXPECT_EQ(base.Append("/a/").Append("").Path(), "/opt/host/modules/a");

    const File right(winmr.Append("right"), "controller-right.obj");
    EXPECT_EQ(UTF16toStdString(right.FullPath()),
              "/opt/host/modules/Stereon/models/winmr/right/controller-right.obj");
    EXPECT_EQ(right.Name(), "controller-right.obj");
    EXPECT_EQ(right.Directory().Path(), "/opt/host/modules/Stereon/models/winmr/right");

    const File nonAscii(Dir("/tmp/m\xC3\xBCller"), "\xF0\x9F\x98\x80.obj");
    EXPECT_EQ(nonAscii.FullPath(), u"/tmp/m\u00fcller/\U0001F600.obj");

    char cwd[4096];
    ASSERT_NE(::getcwd(cwd, sizeof cwd), nullptr);
    EXPECT_EQ(UTF16toStdString(File("relative.obj").FullPath()),
              std::string(cwd) + "/relative.obj");
    EXPECT_EQ(File("/x").Directory().Path(), "/");
    EXPECT_FALSE(File("/nonexistent-directory/file").Exists());
}

TEST(FileSupportTest, ApplicationModulesIsTheLibraryDirectoryUnlessOverridden) {
    using hostcore::filesupport::File;
    using hostcore::filesupport::commondirs::ApplicationModules;

    ::unsetenv("STEREON_MODULES_DIR");
    const auto modules = ApplicationModules();
    EXPECT_TRUE(modules.Exists());
    EXPECT_TRUE(File(modules, "libhostkit.so").Exists()) << modules.Path();

    ::setenv("STEREON_MODULES_DIR", "/srv/host/plugins/", 1);
    EXPECT_EQ(ApplicationModules().Path(), "/srv/host/plugins");
    ::setenv("STEREON_MODULES_DIR", "", 1);  // empty: as if unset
    EXPECT_EQ(ApplicationModules().Path(), modules.Path());
    ::unsetenv("STEREON_MODULES_DIR");
}

class Recorder : public hostcore::messaging::Listener {
public:
    void ReceiveMessage(const hostcore::messaging::Message& message) override {
        ids.push_back(message.GetMessageID());
    }
    std::vector<hostcore::messaging::MessageID> ids;
};

TEST(MessagingTest, IdsAreFnv1aOfTheTypeNameAndReachRegisteredListeners) {
    using namespace hostcore::messaging;
    EXPECT_EQ(HashMessageTypeNameToMessageID(""), 0x811c9dc5u);
    EXPECT_EQ(HashMessageTypeNameToMessageID("a"), 0xe40c292cu);
    EXPECT_EQ(HashMessageTypeNameToMessageID("foobar"), 0xbf9cf968u);
    EXPECT_EQ(HashMessageTypeNameToMessageID(nullptr), HashMessageTypeNameToMessageID(""));

    MessageDispatcher dispatcher;
    Recorder first, second;
    dispatcher.AddListener(&first);
    dispatcher.AddListener(&second);
    dispatcher.AddListener(&first);  // once only
    dispatcher.AddListener(nullptr);
    const Message suspended("HSL::ApplicationSuspendedMessage");
    EXPECT_EQ(dispatcher.Send(suspended), 2u);
    dispatcher.RemoveListener(&second);
    EXPECT_EQ(
        dispatcher.Send(Message(HashMessageTypeNameToMessageID("HSL::ApplicationResumedMessage"))),
        1u);
    EXPECT_EQ(first.ids, (std::vector<MessageID>{
                             suspended.GetMessageID(),
                             HashMessageTypeNameToMessageID("HSL::ApplicationResumedMessage")}));
    EXPECT_EQ(second.ids, (std::vector<MessageID>{suspended.GetMessageID()}));
}

}  // namespace
