// Calls about compose windows.
#include <boost/json.hpp>

#include "Calls.h"
#include "Compose/HeadersEditor.h"
#include "ComposeWindow.h"
#include "MailApplication.h"
#include "ModelJson.h"
#include "Models/ModelChanges.h"

namespace qs {

namespace json = boost::json;

namespace {

std::shared_ptr<ComposeWindow> windowOf(CallContext& context, const json::object& args) {
    auto window = context.application.composeWindow(arguments::text(args, "window"));
    if (!window) throw CallRefused("That message's window is closed.");
    return window;
}

json::value newMessage(CallContext& context, const json::object& args) {
    ComposeRequest request;
    if (arguments::has(args, "to")) request.to = arguments::texts(args, "to");
    context.application.compose(request);
    return nullptr;
}

json::value update(CallContext& context, const json::object& args) {
    auto window = windowOf(context, args);
    ComposeUpdate change;
    for (auto [name, field] :
         {std::pair{"account", &change.account}, {"subject", &change.subject}, {"bodyHtml", &change.bodyHtml}})
        if (arguments::has(args, name)) *field = arguments::text(args, name);
    for (auto [name, field] : {std::pair{"to", &change.to}, {"cc", &change.cc}, {"bcc", &change.bcc}})
        if (arguments::has(args, name)) *field = arguments::texts(args, name);
    if (arguments::has(args, "plainText")) change.plainText = arguments::flag(args, "plainText");
    if (arguments::has(args, "bodyRevision"))
        change.bodyRevision = static_cast<int>(arguments::number(args, "bodyRevision"));
    window->update(change);
    return nullptr;
}

json::value close(CallContext& context, const json::object& args) {
    const std::string keep = arguments::text(args, "keep");
    windowOf(context, args)
        ->close(keep == "save"      ? ComposeWindow::Closing::Save
                : keep == "discard" ? ComposeWindow::Closing::Discard
                                    : ComposeWindow::Closing::Ask);
    return nullptr;
}

// The files that the page has not brought yet, also those that wait for their turn: nothing of them came here so far.
json::value expectUploads(CallContext& context, const json::object& args) {
    const std::string name = arguments::text(args, "window");
    std::vector<std::unique_ptr<UploadUnderWay>> uploads;
    if (const auto window = context.application.composeWindow(name))
        for (std::string& file : arguments::texts(args, "names"))
            uploads.push_back(std::make_unique<UploadUnderWay>(*window->window(), std::move(file)));
    context.page.uploads.erase(name);
    if (!uploads.empty()) context.page.uploads.emplace(name, std::move(uploads));
    return nullptr;
}

// A control that a plug-in put into a header row.
json::value setControl(CallContext& context, const json::object& args) {
    auto window = windowOf(context, args);
    const std::string row = arguments::text(args, "row"), id = arguments::text(args, "control");
    for (const auto& each : window->extraRows()) {
        if (each.identifier != row || !each.row) continue;
        for (auto& control : each.row->controls) {
            if (control.id != id || !control.enabled) continue;
            control.value = arguments::valueFor(control, args);
            // The handler may rebuild the row.
            if (auto onChange = control.onChange) onChange(Value(control.value));
            noteModelChange();
            return nullptr;
        }
    }
    throw CallRefused("That control is gone.");
}

}  // namespace

void addComposeCalls(CallTable& table) {
    table["compose.new"] = newMessage;
    table["compose.update"] = update;
    table["compose.close"] = close;
    table["compose.control"] = setControl;
    table["compose.uploads"] = expectUploads;
    table["compose.send"] = [](CallContext& context, const json::object& args) -> json::value {
        windowOf(context, args)->send();
        return nullptr;
    };
    table["compose.front"] = [](CallContext& context, const json::object& args) -> json::value {
        const std::string window = arguments::text(args, "window");
        context.application.bringToFront(window.empty() ? "viewer" : window);
        return nullptr;
    };
    table["compose.removeAttachment"] = [](CallContext& context, const json::object& args) -> json::value {
        windowOf(context, args)->removeAttachment(arguments::text(args, "id"));
        return nullptr;
    };
}

}  // namespace qs
