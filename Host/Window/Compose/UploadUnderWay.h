// A file on its way from the page to a compose window, or about to set out. What is sent before it is there would leave
// without it. Main thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Foundation/Runtime.h"

namespace qs {

class UploadUnderWay {
public:
    // Of a compose window's Window; under way until this is destroyed.
    UploadUnderWay(HostObject& window, std::string fileName);
    ~UploadUnderWay();
    UploadUnderWay(const UploadUnderWay&) = delete;
    UploadUnderWay& operator=(const UploadUnderWay&) = delete;
    // In the order in which they began; each name once, for a page tells of a file before its content comes.
    static std::vector<std::string> filesOf(const HostObject& window);
    // “plans.zip” is not attached yet; of one file at least.
    static std::string sentenceAbout(const std::vector<std::string>& files);

private:
    struct Files;
    static std::shared_ptr<Files> known(const HostObject& window);
    std::shared_ptr<Files> files_;
    int number_ = 0;
};

}  // namespace qs
