// One person at two machines, each with its own settings and records, and the real backend between them.
#include <charconv>

#include "Account/BackendTest.h"
#include "External/AFNetworking/AFHTTPSessionManager.h"
#include "Process/CompanionProcess.h"
#include "Tracking/QSTrackingPixelManager.h"

namespace qs {
namespace {

using ::testing::Eq;
using ::testing::Optional;
using Manager = QSTrackingPixelManager;

class TwoMachinesTest : public BackendTest {
protected:
    void SetUp() override {
        auto started = CompanionProcess::start(
            QS_BACKEND_PROGRAM,
            {"--demo", (folder_ / "Backend").string(), "--account", "ada@example.org", "--until-input-ends"},
            "s3cret!\n");
        ASSERT_TRUE(started) << started.error().description;
        process_ = std::move(*started);
        const std::string line = process_->readLine(60).value_or("");
        address_ = line.substr(line.rfind(' ') + 1);
        ASSERT_TRUE(address_.starts_with("http://127.0.0.1:")) << line;
    }
    void startMachine() {
        startHost();
        defaults().setObject(address_, "QSBackendURL");
        signIn();
    }
    // Its program ends; the machine stays as it is.
    std::unique_ptr<TemporaryHost> leaveMachine() {
        delegate().saveCoreData();
        MailBundleUnload();
        host_->shutDown();
        return std::move(host_);
    }
    void returnTo(std::unique_ptr<TemporaryHost> machine) {
        host_ = std::move(machine);
        host_->start();
        load();
    }
    std::string sendTracked(const std::string& messageID) {
        const std::string uuid = Manager::newTrackingPixel()->uuid().value_or("");
        Manager::pixelWasDelivered(uuid, messageID);
        host_->settle();
        return uuid;
    }
    // As a recipient's program does.
    void open(const std::string& uuid) {
        AFHTTPSessionManager reader(address_);
        reader.responseSerializer().kind = AFHTTPResponseSerializer::Kind::Data;
        int answers = 0;
        reader.GET(
            "/tracking/" + uuid, {}, [&](const Value&, const HttpResponse&) { ++answers; }, nullptr);
        host_->settle();
        ASSERT_EQ(answers, 1);
    }
    void pull() {
        host_->loop().advance(3600);  // whatever the wait is
        Manager::syncTrackingPixels();
        host_->settle();
    }

    std::unique_ptr<CompanionProcess> process_;
    std::string address_;
};

TEST_F(TwoMachinesTest, EachSeesThePixelsAndOpensOfTheOther) {
    startMachine();
    const std::string first = sendTracked("1@example.org");
    auto office = leaveMachine();

    startMachine();
    EXPECT_EQ(Manager::trackingPixelWithUUID(first), nullptr);
    const std::string second = sendTracked("2@example.org");
    pull();
    const auto record = Manager::trackingPixelWithUUID(first);
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(record->isRemote());
    EXPECT_THAT(record->messageID(), Optional(Eq("1@example.org")));
    EXPECT_EQ(record->numOpens(), 0);
    open(first);
    open(second);
    pull();
    EXPECT_EQ(record->numOpens(), 1);
    auto home = leaveMachine();

    returnTo(std::move(office));
    EXPECT_EQ(Manager::trackingPixelWithUUID(second), nullptr);
    for (int pulls = 0; pulls < 2; ++pulls) {
        pull();
        for (const std::string& uuid : {first, second}) {
            const auto known = Manager::trackingPixelWithUUID(uuid);
            ASSERT_NE(known, nullptr) << uuid;
            EXPECT_EQ(known->numOpens(), 1) << "after " << pulls << " pulls before";
        }
    }
    EXPECT_EQ(Manager::numTotalTrackingPixels(), 2);
}

}  // namespace
}  // namespace qs
