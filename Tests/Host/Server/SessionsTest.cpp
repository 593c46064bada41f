// Start links are used once and soon; cookie and token count only together.
#include "Sessions.h"

#include "Support/VirtualClockTest.h"

namespace qs {
namespace {

class SessionsTest : public VirtualClockTest {
protected:
    HttpServerRequest with(const std::string& cookie) {
        HttpServerRequest request;
        request.headers = {{"Cookie", "other=1; " + Sessions::cookieName(4711) + "=" + cookie}};
        return request;
    }
    Sessions sessions_{4711};
};

TEST_F(SessionsTest, ATicketIsGoodOnceAndForAMinute) {
    const auto ticket = sessions_.newTicket();
    EXPECT_FALSE(sessions_.redeem("guess"));
    EXPECT_TRUE(sessions_.redeem(ticket));
    EXPECT_FALSE(sessions_.redeem(ticket));

    const auto onTime = sessions_.newTicket();
    loop_->advance(60);
    EXPECT_TRUE(sessions_.redeem(onTime));
    const auto late = sessions_.newTicket();
    loop_->advance(61);
    EXPECT_FALSE(sessions_.redeem(late));
}

TEST_F(SessionsTest, CookieAndTokenMustBelongTogether) {
    const auto one = *sessions_.redeem(sessions_.newTicket()), two = *sessions_.redeem(sessions_.newTicket());
    EXPECT_TRUE(sessions_.isKnown(with(one.cookie), one.token));
    EXPECT_FALSE(sessions_.isKnown(with(one.cookie), two.token));
    EXPECT_FALSE(sessions_.isKnown(with(one.cookie), ""));
    EXPECT_FALSE(sessions_.isKnown(with(""), one.token));
    EXPECT_FALSE(sessions_.isKnown(HttpServerRequest(), one.token));
    // Another port's cookie is another name.
    HttpServerRequest other;
    other.headers = {{"Cookie", Sessions::cookieName(4712) + "=" + one.cookie}};
    EXPECT_FALSE(sessions_.isKnown(other, one.token));
}

TEST_F(SessionsTest, SecretsNeverReachTheLog) {
    const auto ticket = sessions_.newTicket();
    const auto session = *sessions_.redeem(ticket);
    logWarning("leaked " + ticket + " " + session.cookie + " " + session.token);
    for (const auto& secret : {ticket, session.cookie, session.token})
        EXPECT_FALSE(log_.contains(secret));
}

}  // namespace
}  // namespace qs
