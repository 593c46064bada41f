// Tells when standard input has ended: whoever started this program holds its other end, and is gone then, however that
// came.
#pragma once

#include <functional>
#include <memory>

namespace qs {

class EndOfInput {
public:
    // Calls the handler once, on the main thread. What comes before the end is read and dropped.
    static std::unique_ptr<EndOfInput> make(std::function<void()> handler);
    virtual ~EndOfInput() = default;
};

}  // namespace qs
