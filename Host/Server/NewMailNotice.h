// What pages are told when mail comes in, for a notification of the browser.
#pragma once

#include <string>

namespace qs {

class MailLibrary;
struct Notification;

// The message for the pages about a MailLibraryMessagesWereAddedNotification; empty when there is nothing to tell: only
// unread mail in an inbox is news, and not what was there when the program began. A UserNotificationWasPosted-
// Notification tells of any messages. Sender and subject stand in it only
// where the person wants them told. Main thread.
std::string newMailNotice(MailLibrary& library, const Notification& added);

}  // namespace qs
