// What the page asks about mailboxes, which may know less than the host.
#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "Calls.h"
#include "MailApplication.h"
#include "MailLibrary.h"
#include "Support/TemporaryHost.h"

namespace qs {
namespace {

namespace json = boost::json;

class MailboxCalls : public testing::Test {
protected:
    void call(std::string_view name, const json::object& arguments) {
        CallContext context{host_.application(), page_};
        allCalls().find(name)->second(context, arguments);
        host_.settle();
    }

    TemporaryHost host_;
    PageMemory page_;
};

TEST_F(MailboxCalls, NothingIsPutWhereNothingMayBe) {
    const auto message = host_.receive("ada", "Ben <ben@example.org>", "Minutes", "Text");
    const auto open = host_.library().createMailbox("ada", "Open"),
               other = host_.library().createMailbox("ada", "Other");
    ASSERT_TRUE(open && other);
    const json::object drop{{"ids", {message->libraryID()}}, {"mailbox", (*open)->identifier()}};
    const json::object move{{"id", (*other)->identifier()}, {"name", "Open/Other"}};
    const auto outbox = host_.library().mailbox("ada", MailboxKind::Outbox, true);
    EXPECT_THROW(call("message.move", {{"ids", {message->libraryID()}}, {"mailbox", outbox->identifier()}}),
                 CallRefused);
    EXPECT_EQ(host_.inboxOf("ada").size(), 1U) << "it is where it was";
    EXPECT_THROW(call("mailbox.rename", {{"id", (*other)->identifier()}, {"name", outbox->displayName() + "/Other"}}),
                 CallRefused);
    EXPECT_NE(host_.library().mailboxWithIdentifier((*other)->identifier()), nullptr);
    call("message.move", drop);
    EXPECT_EQ(host_.inboxOf("ada").size(), 0U);
    call("mailbox.rename", move);
    EXPECT_EQ(host_.library().mailboxWithIdentifier((*other)->identifier()), nullptr);
}

}  // namespace
}  // namespace qs
