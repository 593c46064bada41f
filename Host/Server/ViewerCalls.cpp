// Calls about the application, mailboxes, the list and messages.
#include <algorithm>
#include <boost/json.hpp>

#include "Accounts/AddressCompletion.h"
#include "Application/EventMonitors.h"
#include "Calls.h"
#include "DeliveryService.h"
#include "HostSettings.h"
#include "MailApplication.h"
#include "MailEngine.h"
#include "MailLibrary.h"
#include "MailSync.h"
#include "MailboxPlaces.h"
#include "MainViewer.h"
#include "MessageBody.h"
#include "ModelJson.h"
#include "Viewer/Banner.h"

namespace qs {

namespace json = boost::json;

namespace {

constexpr std::size_t kLargestSelection = 4 * 1024 * 1024;

json::value pressBanner(CallContext& context, const json::object& args) {
    const std::string id = arguments::text(args, "button");
    const auto& banners = context.application.viewer().banners();
    for (const auto& banner : banners ? banners->displayed() : BannerList()) {
        const auto buttons = banner->buttons();
        const auto button = std::ranges::find(buttons, id, [](const auto& each) { return each->anchor(); });
        if (button == buttons.end() || (*button)->isHidden || !(*button)->isEnabled) continue;
        if ((*button)->isCheckBox) (*button)->isOn = !(*button)->isOn;
        context.application.bringToFront("viewer");
        const auto target = (*button)->target.lock();
        if (!context.application.sendAction((*button)->action, target.get(), button->get()))
            throw CallRefused("\"" + (*button)->title + "\" can't be used right now.");
        return nullptr;
    }
    throw CallRefused("Another message is shown by now.");
}

json::value setFlags(CallContext& context, const json::object& args) {
    FlagChange change;
    if (arguments::has(args, "seen")) change.seen = arguments::flag(args, "seen");
    if (arguments::has(args, "flagged")) change.flagged = arguments::flag(args, "flagged");
    if (arguments::has(args, "colour")) change.colour = static_cast<int>(arguments::number(args, "colour") % 7);
    require(context.application.viewer().setFlags(arguments::ids(args), change));
    return nullptr;
}

json::value resolveDoubt(CallContext& context, const json::object& args) {
    auto& deliveries = context.application.engine().deliveries();
    const std::string uniqueID = arguments::text(args, "uniqueID"), choice = arguments::text(args, "choice");
    require(choice == "sendAgain" ? deliveries.sendAgain(uniqueID) : deliveries.markSent(uniqueID));
    return nullptr;
}

// Also of a message that a server has refused for good: the person may know better, or have mended what was wrong.
json::value tryAgain(CallContext& context, const json::object& args) {
    auto& deliveries = context.application.engine().deliveries();
    require(deliveries.tryNow(deliveries.status(arguments::number(args, "id")).uniqueID));
    return nullptr;
}

json::value completeAddresses(CallContext& context, const json::object& args) {
    json::array addresses;
    for (auto& address : completeAddress(context.application.engine().library(), arguments::text(args, "prefix"), 8))
        addresses.emplace_back(std::move(address));
    return json::object{{"addresses", std::move(addresses)}};
}

}  // namespace

void addViewerCalls(CallTable& table) {
    table["app.modifiers"] = [](CallContext&, const json::object& args) -> json::value {
        EventMonitors::current().dispatch(
            {.mask = kFlagsChangedMask, .modifierFlags = static_cast<unsigned>(arguments::number(args, "flags"))});
        return nullptr;
    };
    table["app.active"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.setActive(arguments::flag(args, "active"));
        return nullptr;
    };
    table["app.dismissNotice"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.dismissNotice(static_cast<int>(arguments::number(args, "id")));
        return nullptr;
    };
    table["mailbox.select"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().selectMailbox(arguments::text(args, "id"));
        return nullptr;
    };
    table["mailbox.create"] = [](CallContext& context, const json::object& args) -> json::value {
        require(createMailbox(context.application, arguments::text(args, "account"), arguments::text(args, "name")));
        return nullptr;
    };
    table["mailbox.rename"] = [](CallContext& context, const json::object& args) -> json::value {
        require(context.application.renameMailbox(arguments::text(args, "id"), arguments::text(args, "name")));
        return nullptr;
    };
    table["account.sync"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.engine().sync().syncNow(arguments::text(args, "account"));
        return nullptr;
    };
    table["list.window"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().setWindowOfRows(static_cast<int>(arguments::number(args, "offset")),
                                                     static_cast<int>(arguments::number(args, "limit")));
        return nullptr;
    };
    table["list.select"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().selectIDs(arguments::ids(args));
        return nullptr;
    };
    table["list.open"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().setOpen(arguments::number(args, "id"), arguments::flag(args, "open"));
        return nullptr;
    };
    table["message.selectText"] = [](CallContext& context, const json::object& args) -> json::value {
        std::string html = arguments::text(args, "html");
        if (html.size() > kLargestSelection) throw CallRefused("That is too much text to be taken as a part.");
        context.application.viewer().setSelectedText(arguments::number(args, "id"), std::move(html));
        return nullptr;
    };
    table["list.search"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().search(arguments::text(args, "text"));
        return nullptr;
    };
    table["message.open"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().open(arguments::number(args, "id"));
        return nullptr;
    };
    table["message.showInConversation"] = [](CallContext& context, const json::object& args) -> json::value {
        context.application.viewer().showInConversation(arguments::number(args, "id"));
        return nullptr;
    };
    table["message.setFlags"] = setFlags;
    table["message.alwaysShowPictures"] = [](CallContext& context, const json::object& args) -> json::value {
        const std::string sender = senderAddress(context.application, arguments::number(args, "id"));
        if (sender.empty()) throw CallRefused("Nobody can be told to be the sender of this message.");
        alwaysShowRemotePicturesOf(sender);
        return nullptr;
    };
    // What dragging does.
    table["message.move"] = [](CallContext& context, const json::object& args) -> json::value {
        const auto to = context.application.engine().library().mailboxWithIdentifier(arguments::text(args, "mailbox"));
        if (to && !context.application.rowOfMailbox(*to).takesDrops)
            throw CallRefused("Messages can't be dropped on \"" + to->displayName() + "\".");
        require(context.application.viewer().moveTo(arguments::ids(args), arguments::text(args, "mailbox")));
        return nullptr;
    };
    table["message.undoMove"] = [](CallContext& context, const json::object& args) -> json::value {
        const auto last = context.application.viewer().lastMove();
        if (!last || last->number != arguments::number(args, "number"))
            throw CallRefused("Something else was moved since then.");
        context.application.viewer().undoMove();
        return nullptr;
    };
    table["message.resolveDoubt"] = resolveDoubt;
    table["banner.press"] = pressBanner;
    table["message.tryAgain"] = tryAgain;
    table["addresses.complete"] = completeAddresses;
}

}  // namespace qs
