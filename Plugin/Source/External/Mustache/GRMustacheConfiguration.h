// How templates are read and rendered: their content type, the delimiters of tags, and the context that every rendering
// stands on. A repository locks its configuration when it compiles its first template; a copy is unlocked.
#pragma once

#include <memory>
#include <string>

#include "GRMustacheContentType.h"

namespace qs {

class GRMustacheContext;

class GRMustacheConfiguration {
public:
    // The one that new repositories start with a copy of. Change it while no other thread uses the engine.
    static GRMustacheConfiguration& defaultConfiguration();
    static GRMustacheConfiguration configuration() { return {}; }

    GRMustacheConfiguration();
    GRMustacheConfiguration(const GRMustacheConfiguration& other);
    GRMustacheConfiguration& operator=(const GRMustacheConfiguration& other);

    GRMustacheContentType contentType() const { return contentType_; }
    const std::string& tagStartDelimiter() const { return tagStartDelimiter_; }
    const std::string& tagEndDelimiter() const { return tagEndDelimiter_; }
    const std::shared_ptr<const GRMustacheContext>& baseContext() const { return baseContext_; }
    bool isLocked() const { return locked_; }

    // Changing a locked configuration, an empty delimiter or a null context is an assertion failure.
    void setContentType(GRMustacheContentType contentType);
    void setTagStartDelimiter(std::string delimiter);
    void setTagEndDelimiter(std::string delimiter);
    void setBaseContext(std::shared_ptr<const GRMustacheContext> context);
    void lock() { locked_ = true; }

private:
    void assertUnlocked() const;

    GRMustacheContentType contentType_ = GRMustacheContentType::HTML;
    std::string tagStartDelimiter_ = "{{", tagEndDelimiter_ = "}}";
    std::shared_ptr<const GRMustacheContext> baseContext_;
    bool locked_ = false;
};

}  // namespace qs
