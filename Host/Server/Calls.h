// What a page may ask of the host over its live connection: a table of named calls, each one small function. Every call
// is checked for the form of its arguments; what is wrong comes back as a sentence for the person.
#pragma once

#include <boost/json/fwd.hpp>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Compose/UploadUnderWay.h"
#include "Foundation/Result.h"

namespace qs {

class MailApplication;
class Menu;
struct FormControl;

// Ends a call with a sentence for the person.
class CallRefused : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What is remembered for one page as long as it is connected.
struct PageMemory {
    std::shared_ptr<Menu> contextMenu;  // the one that was last offered to it
    // What it is about to send, by compose window.
    std::map<std::string, std::vector<std::unique_ptr<UploadUnderWay>>> uploads;
};

// What calls work on, for one page.
struct CallContext {
    MailApplication& application;
    PageMemory& page;
};

using Call = std::function<boost::json::value(CallContext& context, const boost::json::object& arguments)>;
using CallTable = std::map<std::string, Call, std::less<>>;

// All of them, one function for each group.
const CallTable& allCalls();
void addMenuCalls(CallTable& table);
void addViewerCalls(CallTable& table);
void addComposeCalls(CallTable& table);
void addDialogCalls(CallTable& table);
void addRowListCalls(CallTable& table);
void addPeopleCalls(CallTable& table);

// The menu of a button in a popover's list; refuses the call when there is none.
std::shared_ptr<Menu> menuInRowList(const boost::json::object& arguments);

// Arguments by name; a missing one, or one of another form, refuses the call.
namespace arguments {
std::string text(const boost::json::object& arguments, std::string_view name);
std::int64_t number(const boost::json::object& arguments, std::string_view name);
bool flag(const boost::json::object& arguments, std::string_view name);
std::vector<std::int64_t> ids(const boost::json::object& arguments, std::string_view name = "ids");  // at most 10,000
std::vector<std::string> texts(const boost::json::object& arguments, std::string_view name);
bool has(const boost::json::object& arguments, std::string_view name);
// "value": what the person entered into the control, nil without it. Rich text comes out safe.
Value valueFor(const FormControl& control, const boost::json::object& arguments);
}  // namespace arguments

// Refuses the call with the error's sentence.
template <class T>
void require(const Result<T>& result) {
    if (!result) throw CallRefused(result.error().description);
}

}  // namespace qs
