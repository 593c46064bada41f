#include "Delivery/DraftForRefused.h"

#include <gmock/gmock.h>

#include "Foundation/FileSystem.h"
#include "Mime/MimeMessage.h"
#include "Support/TemporaryFolder.h"

namespace qs {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

const std::map<std::string, std::string> kRefused{{"eve@x.example", "550 nobody"}};

std::string tracked(const std::string& picture) {
    return "From: Ada <ada@x.example>\r\nTo: Ben <ben@x.example>, Eve <eve@x.example>\r\nSubject: Minutes\r\n"
           "Message-Id: <1@x.example>\r\nX-Universally-Unique-Identifier: 11\r\nX-Priority: 1\r\n"
           "X-Tracking-Of-Some:\r\n\tprogram\r\nIn-Reply-To: <0@x.example>\r\nMIME-Version: 1.0\r\n"
           "Content-Type: multipart/alternative; boundary=b\r\n\r\n"
           "--b\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nAll agreed.\r\n"
           "--b\r\nContent-Type: text/html; charset=utf-8\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
           "<p>Gr=C3=BC=C3=9Fe</p><img src=3D\"cid:1\" width=3D\"0\" height=3D\"0\">" +
           picture + "<img width=3D\"9\" height=3D\"9\" src=3D\"https://x.example/logo.png\">\r\n--b--\r\n";
}

}  // namespace

class DraftForRefused : public ::testing::Test {
protected:
    std::string draftOf(const std::string& message) {
        const auto draft = draftForRefused(openText(message), kRefused, folder_.path());
        return draft ? startOf(*draft, 100'000).value() : draft.error().description;
    }
    TemporaryFolder folder_;
};

TEST_F(DraftForRefused, LeavesBehindWhatBelongsToTheSentMessage) {
    const std::string draft =
        draftOf(tracked("<im=\r\ng width=3D\"0\" height=3D\"0\" src=3D\"https://watch.example/p\" id=3D\"Pixel\">"));
    EXPECT_THAT(draft, AllOf(HasSubstr("To: Eve <eve@x.example>\r\n"), HasSubstr("Subject: Minutes\r\n"),
                             HasSubstr("X-Priority: 1\r\n"), HasSubstr("In-Reply-To: <0@x.example>\r\n")));
    EXPECT_THAT(draft, AllOf(Not(HasSubstr("ben@")), Not(HasSubstr("1@x.example>\r\nX-")), Not(HasSubstr("program")),
                             Not(HasSubstr("Identifier")), Not(HasSubstr("watch.example"))));
    const auto read = MimeMessage::parse(draft);
    EXPECT_EQ(read->damage(), "");
    EXPECT_THAT(read->plainBody().value_or(""), HasSubstr("All agreed."));
    EXPECT_THAT(read->htmlBody().value_or(""),
                AllOf(HasSubstr("Grüße"), HasSubstr("cid:1"), HasSubstr("https://x.example/logo.png")));
}

TEST_F(DraftForRefused, TouchesNoBodyThatHidesNothing) {
    const std::string message = tracked("");
    EXPECT_THAT(draftOf(message), ::testing::EndsWith(message.substr(message.find("\r\n\r\n"))));
}

}  // namespace qs
