// What a demo folder holds at its first start: two accounts of people who write to each other, and their mail.
#pragma once

#include <filesystem>
#include <string>

#include "Foundation/Result.h"

namespace qs {

class AccountBook;
class MailEngine;

class DemoData {
public:
    explicit DemoData(std::filesystem::path dataFolder) : dataFolder_(std::move(dataFolder)) {}
    // Before the engine is opened: makes the accounts, unless the folder has any.
    Result<void> makeAccounts() const;
    // After it: puts in the mails of that folder (*.eml, see DemoTemplate.h) if the accounts were just made, or if an
    // earlier start was cut off in the midst of this; a mail that is there already is not added again.
    // `newsletter` is the address of its publisher's server.
    Result<void> addMails(MailEngine& engine, const std::filesystem::path& mails, const std::string& newsletter) const;

private:
    std::filesystem::path marker() const;  // there while the mails are not all in
    std::filesystem::path dataFolder_;
};

}  // namespace qs
