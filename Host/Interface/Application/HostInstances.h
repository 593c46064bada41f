// The running host's objects behind the interface's windows (MailApp::shared(), Library::shared(), ...). The host fills
// it while it starts and clears it when it goes; nobody else writes it.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace qs {

class DeliveryAccount;
class DeliveryQueue;
class EventMonitors;
class Library;
class LibraryStore;
class MailAccount;
class MailApp;
class Message;
class MessageHeaders;
class MessageViewer;
class StatusBar;

struct HostInstances {
    std::shared_ptr<MailApp> application;
    std::shared_ptr<Library> library;
    std::shared_ptr<LibraryStore> libraryStore;
    std::shared_ptr<DeliveryQueue> deliveryQueue;
    std::shared_ptr<EventMonitors> eventMonitors;  // made when first asked for
    std::shared_ptr<StatusBar> statusBar;          // likewise
    std::function<std::shared_ptr<MessageViewer>()> frontmostViewer;
    // Makes a viewer for one message; may be empty.
    std::function<std::shared_ptr<MessageViewer>(const std::shared_ptr<Message>&)> singleMessageViewer;
    std::function<std::vector<std::shared_ptr<MailAccount>>()> mailAccounts;
    std::function<std::shared_ptr<DeliveryAccount>(const MailAccount&)> deliveryAccount;

    static HostInstances& current();
};

}  // namespace qs
