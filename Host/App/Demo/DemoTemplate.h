// Demo mails as they lie in files: a message with lines of its own in front and dates that are filled in when the mails
// are made, so that they always lie in the days before.
//
//     Demo-Place: mira/Sent seen              where it lies and with which flags; any number of these lines, first
//     Demo-Place: tobias/Inbox seen answered
//     Date: {{-3d 14:20}}                     three days before, at this time of day, in the form of a Date header
//     ...
//     <{{newsletter}}/leave>                  one of the words that the program fills in
//     see you on {{+9d 14:00|EEEE d MMMM}}    by that pattern (ICU); {{-2h}} counts hours and {{-20m}} minutes
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Date.h"
#include "Foundation/Result.h"
#include "Mail/Mailbox.h"
#include "Mail/Message.h"

namespace qs {

struct DemoPlace {
    std::string account;
    MailboxKind mailbox = MailboxKind::Inbox;
    MessageFlags flags;
};

struct DemoMail {
    std::vector<DemoPlace> places;
    std::string content;  // with CR LF line ends
    Date date;            // that of its Date header
};

// Fails with a sentence that names what in the template is wrong.
Result<DemoMail> readDemoTemplate(std::string_view text, Date now,
                                  const std::map<std::string, std::string>& words = {});

}  // namespace qs
