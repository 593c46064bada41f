#include "GRMustacheFilter.h"

#include <utility>
#include <vector>

namespace qs {

namespace {

class GRMustacheBlockFilter final : public GRMustacheFilter {
public:
    explicit GRMustacheBlockFilter(Block block) : block_(std::move(block)) {}
    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override { return block_(object); }
    std::string description() const override { return "<GRMustacheBlockFilter>"; }

private:
    Block block_;
};

class GRMustacheBlockVariadicFilter final : public GRMustacheFilter {
public:
    GRMustacheBlockVariadicFilter(std::shared_ptr<const VariadicBlock> block, std::vector<GRMustacheValue> arguments)
        : block_(std::move(block)), arguments_(std::move(arguments)) {}

    Result<GRMustacheValue> transformedValue(const GRMustacheValue& object) const override {
        return (*block_)(withArgument(object));
    }
    std::shared_ptr<GRMustacheFilter> filterByCurryingArgument(const GRMustacheValue& object) const override {
        return std::make_shared<GRMustacheBlockVariadicFilter>(block_, withArgument(object));
    }
    std::string description() const override { return "<GRMustacheBlockVariadicFilter>"; }

private:
    std::vector<GRMustacheValue> withArgument(const GRMustacheValue& object) const {
        std::vector<GRMustacheValue> all;
        all.reserve(arguments_.size() + 1);
        all = arguments_;
        all.push_back(object);
        return all;
    }

    std::shared_ptr<const VariadicBlock> block_;
    std::vector<GRMustacheValue> arguments_;
};

}  // namespace

std::shared_ptr<GRMustacheFilter> GRMustacheFilter::filterWithBlock(Block block) {
    return std::make_shared<GRMustacheBlockFilter>(std::move(block));
}

std::shared_ptr<GRMustacheFilter> GRMustacheFilter::variadicFilterWithBlock(VariadicBlock block) {
    return std::make_shared<GRMustacheBlockVariadicFilter>(std::make_shared<const VariadicBlock>(std::move(block)),
                                                           std::vector<GRMustacheValue>());
}

}  // namespace qs
