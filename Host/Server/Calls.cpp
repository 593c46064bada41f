#include "Calls.h"

#include <boost/json.hpp>

#include "Display/Sanitizer.h"
#include "ModelJson.h"
#include "Models/Form.h"

namespace qs {

namespace json = boost::json;

const CallTable& allCalls() {
    static const CallTable table = [] {
        CallTable made;
        addMenuCalls(made);
        addViewerCalls(made);
        addComposeCalls(made);
        addDialogCalls(made);
        addRowListCalls(made);
        addPeopleCalls(made);
        return made;
    }();
    return table;
}

namespace arguments {

namespace {

constexpr std::size_t kMostItems = 10'000;

[[noreturn]] void refuse(std::string_view name) {
    throw CallRefused("The page asked for something in a form that is not known here (" + std::string(name) + ").");
}

const json::value& find(const json::object& arguments, std::string_view name) {
    const json::value* value = arguments.if_contains(name);
    if (!value) refuse(name);
    return *value;
}

const json::array& list(const json::object& arguments, std::string_view name) {
    const auto& value = find(arguments, name);
    if (!value.is_array() || value.get_array().size() > kMostItems) refuse(name);
    return value.get_array();
}

}  // namespace

bool has(const json::object& arguments, std::string_view name) { return arguments.contains(name); }

std::string text(const json::object& arguments, std::string_view name) {
    const auto& value = find(arguments, name);
    if (!value.is_string()) refuse(name);
    return std::string(value.get_string());
}

std::int64_t number(const json::object& arguments, std::string_view name) {
    const auto& value = find(arguments, name);
    if (!value.is_int64()) refuse(name);
    return value.get_int64();
}

bool flag(const json::object& arguments, std::string_view name) {
    const auto& value = find(arguments, name);
    if (!value.is_bool()) refuse(name);
    return value.get_bool();
}

std::vector<std::int64_t> ids(const json::object& arguments, std::string_view name) {
    std::vector<std::int64_t> result;
    for (const auto& value : list(arguments, name)) {
        if (!value.is_int64()) refuse(name);
        result.push_back(value.get_int64());
    }
    return result;
}

std::vector<std::string> texts(const json::object& arguments, std::string_view name) {
    std::vector<std::string> result;
    for (const auto& value : list(arguments, name)) {
        if (!value.is_string()) refuse(name);
        result.emplace_back(value.get_string());
    }
    return result;
}

Value valueFor(const FormControl& control, const json::object& arguments) {
    const json::value* value = arguments.if_contains("value");
    Value entered = value ? fromJson(*value) : Value();
    if (control.kind != FormControl::Kind::RichText) return entered;
    return sanitizeHtml(entered.stringValue(), {.keepRemotePictures = true}).html;
}

}  // namespace arguments

}  // namespace qs
