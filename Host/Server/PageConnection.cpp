#include "PageConnection.h"

#include <boost/json.hpp>

#include "Foundation/Log.h"
#include "Foundation/RunLoop.h"
#include "MailApplication.h"

namespace qs {

namespace json = boost::json;

namespace {

struct Asked {
    std::int64_t id = 0;
    std::string call;
    json::object arguments;
};

std::optional<Asked> askedFrom(const std::string& text) {
    json::error_code error;
    json::value message = json::parse(text, error);
    if (error || !message.is_object()) return std::nullopt;
    auto& object = message.get_object();
    const json::value *id = object.if_contains("id"), *call = object.if_contains("call");
    if (!id || !id->is_int64() || !call || !call->is_string()) return std::nullopt;
    json::value* arguments = object.if_contains("args");
    return Asked{id->get_int64(), std::string(call->get_string()),
                 arguments && arguments->is_object() ? std::move(arguments->get_object()) : json::object()};
}

json::object errorFor(std::int64_t id, std::string_view sentence) {
    return {{"type", "error"}, {"id", id}, {"text", sentence}};
}

json::object carryOut(CallContext& context, const Asked& asked) {
    const auto found = allCalls().find(asked.call);
    if (found == allCalls().end()) return errorFor(asked.id, "The page asked for something that is not known here.");
    try {
        return {{"type", "reply"}, {"id", asked.id}, {"result", found->second(context, asked.arguments)}};
    } catch (const CallRefused& refusal) {
        return errorFor(asked.id, refusal.what());
    } catch (const std::exception& fault) {
        logError("The call " + asked.call + " failed: " + fault.what());
        return errorFor(asked.id, "Something went wrong. The log tells more.");
    }
}

}  // namespace

PageConnection::PageConnection(MailApplication& application, std::shared_ptr<LiveChannel> channel)
    : application_(application), channel_(std::move(channel)) {
    channel_->onText = [this](const std::string& text) { handle(text); };
    channel_->onClose = [this] {
        // A call of this page may still wait for the person, on another page, and keep this alive.
        memory_.uploads.clear();
        if (auto closed = onClose) closed();
    };
}

PageConnection::~PageConnection() {
    channel_->onText = nullptr;
    channel_->onClose = nullptr;
}

void PageConnection::show(const PageSections& sections) {
    if (auto update = updateFor(seen_, sections); !update.empty()) channel_->send(std::move(update));
}

void PageConnection::handle(const std::string& text) {
    auto asked = askedFrom(text);
    if (!asked) return logWarning("The page sent something that is no call; it was left out.");
    // A call may wait for the person, and the page may go meanwhile.
    auto self = shared_from_this();
    CallContext context{application_, memory_};
    // Behind what the call changed, which is shown in the loop's next turn: with the answer the page stops showing what
    // it expects, and would show for a moment what was before.
    RunLoop::main().post([self, answer = json::serialize(carryOut(context, *asked))] { self->send(answer); });
}

}  // namespace qs
