#include "StandardLibrary/GRMustacheEachFilter.h"

#include <optional>
#include <utility>
#include <vector>

#include "Foundation/Format.h"
#include "GRMustacheContext.h"
#include "GRMustacheError.h"
#include "GRMustacheName.h"
#include "GRMustacheRendering.h"
#include "GRMustacheTag.h"

namespace qs {

namespace {

struct Place {
    std::optional<std::string> key;
    std::size_t index = 0, count = 0;
};

// The dictionary that an item is rendered on.
class PlaceKeys final : public GRMustacheKeyedSubscript {
public:
    explicit PlaceKeys(const Place& place) : place_(place) {}

    GRMustacheValue objectForKeyedSubscript(std::string_view key) const override {
        if (!key.starts_with('@')) return {};
        const auto index = static_cast<std::int64_t>(place_.index);
        if (key == "@index") return index;
        if (key == "@indexPlusOne") return index + 1;
        if (key == "@indexIsEven") return index % 2 == 0;
        if (key == "@first") return index == 0;
        if (key == "@last") return place_.index + 1 == place_.count;
        if (key == "@key" && place_.key) return GRMustacheValue::borrowingString(*place_.key);
        return {};
    }

private:
    const Place& place_;
};

class EachItem final : public GRMustacheRendering {
public:
    EachItem(GRMustacheValue item, Place place) : item_(std::move(item)), place_(std::move(place)) {}

    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext& context,
                                             bool& HTMLSafe) const override {
        std::string out;
        if (auto rendered = appendRendering(tag, true, context, out, HTMLSafe); !rendered) return failed(rendered);
        return out;
    }
    Result<void> appendRendering(const GRMustacheTag& tag, bool, const GRMustacheContext& context, std::string& out,
                                 bool& HTMLSafe) const override {
        PlaceKeys keys(place_);
        const GRMustacheContext placed = context.contextByAddingObject(GRMustacheValue::borrowing(keys));
        return append(item_, tag, true, placed, out, HTMLSafe);
    }
    bool mustacheBoolValue() const override { return boolValueOf(item_); }

private:
    GRMustacheValue item_;
    Place place_;
};

// All items in one block of memory.
class EachItems final : public GRMustacheFastEnumeration {
public:
    explicit EachItems(std::vector<EachItem> items) : items_(std::move(items)) {}
    std::size_t count() const override { return items_.size(); }
    // Items don't change when they are rendered.
    GRMustacheValue itemAt(std::size_t index) const override {
        return GRMustacheValue::borrowing(const_cast<EachItem&>(items_[index]));
    }

private:
    std::vector<EachItem> items_;
};

// In place of what is no list.
class NoEnumeration final : public GRMustacheRendering {
public:
    explicit NoEnumeration(std::string description) : described_(std::move(description)) {}
    Result<std::string> renderForMustacheTag(const GRMustacheTag& tag, const GRMustacheContext&, bool&) const override {
        return failure(mustacheError(
            GRMustacheErrorCodeRenderingError,
            stringWithFormat("each filter in tag %@ expects its arguments to conform to the NSFastEnumeration "
                             "protocol. %@ is not.",
                             {tag.description(), described_})));
    }

private:
    std::string described_;
};

std::optional<std::vector<std::string>> keysOf(const GRMustacheValue& object) {
    if (const GRMustacheObject* own = object.object(); own && own->asKeyedSubscript())
        return own->asKeyedSubscript()->allKeys();
    return object.keysOfDictionary();
}

std::vector<EachItem> itemsOf(const GRMustacheValue& object, std::vector<std::string> keys) {
    std::vector<EachItem> items;
    items.reserve(keys.size());
    const std::size_t count = keys.size();
    for (std::size_t i = 0; i < count; ++i) {
        GRMustacheValue value = object.objectForKeyedSubscript(keys[i]);
        items.emplace_back(std::move(value), Place{std::move(keys[i]), i, count});
    }
    return items;
}

std::vector<EachItem> itemsOf(const GRMustacheValue& list) {
    const std::size_t count = list.count();
    std::vector<EachItem> items;
    items.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        items.emplace_back(list.itemAt(i), Place{std::nullopt, i, count});
    return items;
}

}  // namespace

Result<GRMustacheValue> GRMustacheEachFilter::transformedValue(const GRMustacheValue& object) const {
    if (object.isKeyed())
        if (auto keys = keysOf(object))
            return GRMustacheValue(std::make_shared<EachItems>(itemsOf(object, std::move(*keys))));
    if (object.isCollection()) return GRMustacheValue(std::make_shared<EachItems>(itemsOf(object)));
    return GRMustacheValue(std::make_shared<NoEnumeration>(object.debugDescription()));
}

}  // namespace qs
