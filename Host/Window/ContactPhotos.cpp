#include "ContactPhotos.h"

#include <algorithm>
#include <utility>

#include "Contacts/ContactBook.h"
#include "Foundation/Log.h"
#include "Foundation/NotificationCenter.h"
#include "Foundation/RunLoop.h"
#include "Images/ImageDecoder.h"
#include "Platform.h"
#include "Text/Ascii.h"
#include "Text/Base64.h"
#include "Viewer/ContactPictures.h"

namespace qs {

namespace {

constexpr TimeInterval kFresh = 60;  // after that a card is looked at again when somebody asks
constexpr ImageSize kSize{96, 96};   // the largest that a page draws, on a display of double density
constexpr ImageLimits kLimits{.bytes = std::size_t{8} << 20, .pixels = std::int64_t{1} << 24};

// The middle of the picture, as a square.
Image squareOf(const Image& image) {
    const ImageSize size = image.size();
    const int side = std::min(size.width, size.height);
    const auto first = static_cast<std::size_t>(size.width - side) / 2;
    const auto top = static_cast<std::size_t>(size.height - side) / 2;
    std::string pixels;
    for (std::size_t row = 0; row < static_cast<std::size_t>(side); ++row)
        pixels += image.pixels().substr(4 * ((top + row) * static_cast<std::size_t>(size.width) + first),
                                        4 * static_cast<std::size_t>(side));
    return Image::imageWithPixels(pixels, {side, side}).value_or(image);
}

// Not on the main thread. Empty where there is no picture that can be drawn.
std::string drawn(ContactBook& contacts, ImageDecoder& decoder, const std::string& contact) {
    const auto picture = contacts.picture(contact);
    if (!picture) return {};
    const auto image = decoder.imageWithData(picture->bytes, kLimits);
    if (!image) {
        logInfo("the picture of a contact is not shown: " + image.error().description);
        return {};
    }
    return "data:image/png;base64," + base64EncodedString(squareOf(*image).resizedImageOfSize(kSize).pngData());
}

}  // namespace

std::string ContactPhotos::of(std::string_view mailAddress) {
    const Platform& platform = Platform::current();
    if (mailAddress.empty() || !platform.contacts || !platform.imageDecoder) return {};
    const auto cards = platform.contacts->withMailAddress(mailAddress);
    const auto card = std::ranges::find_if(cards, &Contact::hasPicture);
    const std::string address = asciiLowered(mailAddress);
    if (card == cards.end()) {
        forget(address);
        return {};
    }
    Known& known = keep(address);
    const TimeInterval now = RunLoop::main().uptime();
    if (!known.read || now - *known.read > kFresh) {
        known.read = now;
        const auto waits = std::ranges::find(waiting_, address, &Wanted::address);
        if (waits == waiting_.end())
            waiting_.push_back({address, card->identifier});
        else
            waits->contact = card->identifier;
        goOn();
    }
    return known.picture;
}

// For a new one goes the one that nobody has asked for the longest.
ContactPhotos::Known& ContactPhotos::keep(const std::string& address) {
    if (!known_.contains(address) && known_.size() >= mostKnown_)
        forget(std::ranges::min_element(known_, {}, [](const auto& each) { return each.second.question; })->first);
    Known& known = known_[address];
    known.question = ++questions_;
    return known;
}

void ContactPhotos::forget(std::string address) {
    known_.erase(address);
    std::erase_if(waiting_, [&](const Wanted& wanted) { return wanted.address == address; });
}

// One after the other: each is a process.
void ContactPhotos::goOn() {
    if (isReading_ || waiting_.empty()) return;
    isReading_ = true;
    Wanted wanted = std::move(waiting_.front());
    waiting_.pop_front();
    RunLoop::main().postToGlobalQueue([weak = weak_from_this(), wanted = std::move(wanted),
                                       contacts = Platform::current().contacts,
                                       decoder = Platform::current().imageDecoder] {
        std::string picture = drawn(*contacts, *decoder, wanted.contact);
        RunLoop::main().post([weak, address = wanted.address, picture = std::move(picture)] {
            if (const auto self = weak.lock()) self->take(address, picture);
        });
    });
}

void ContactPhotos::take(const std::string& address, std::string picture) {
    isReading_ = false;
    goOn();
    const auto known = known_.find(address);
    if (known == known_.end() || known->second.picture == picture) return;
    known->second.picture = std::move(picture);
    NotificationCenter::defaultCenter().post(std::string(PhotoAvailableNotification), nullptr,
                                             Dictionary{{"Email", address}});
}

}  // namespace qs
