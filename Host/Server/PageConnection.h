// One open page: sends it what changed, carries out what it asks, answers each call once, behind what that changed.
// Main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Calls.h"
#include "HttpServer/HttpTypes.h"
#include "PageState.h"

namespace qs {

class MailApplication;

class PageConnection : public std::enable_shared_from_this<PageConnection> {
public:
    PageConnection(MailApplication& application, std::shared_ptr<LiveChannel> channel);
    ~PageConnection();
    PageConnection(const PageConnection&) = delete;
    PageConnection& operator=(const PageConnection&) = delete;

    void show(const PageSections& sections);
    void send(const std::string& text) { channel_->send(text); }
    void close() { channel_->close(); }
    std::function<void()> onClose;

private:
    void handle(const std::string& text);

    MailApplication& application_;
    std::shared_ptr<LiveChannel> channel_;
    PageSections seen_;
    PageMemory memory_;
};

}  // namespace qs
