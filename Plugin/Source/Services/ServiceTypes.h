// The kinds of outside services: numbers that stand in saved lists, with what is fixed about each. Numbers beyond the
// table have no name, no identifier and no use.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qs {

inline constexpr int kHighestServiceType = 24;
inline constexpr int kPlaceholderServiceType = 23;

inline constexpr std::uint64_t kNoUtility = ~std::uint64_t{0};
inline constexpr std::uint64_t kUploadUtility = 0;
inline constexpr std::uint64_t kNotesUtility = 1;
inline constexpr std::uint64_t kContactImagesUtility = 2;
inline constexpr std::uint64_t kTasksUtility = 3;

// How a link starts.
enum class QSLinkKind { None, Slave, LoginPanel, OwnCloudPanel, FTPPanel, EvernotePanel, AtOnce };

struct QSServiceType {
    const char* name = nullptr;        // null: none
    const char* identifier = nullptr;  // null: none; of pictures, keychain items and configuration
    std::uint64_t utility = kNoUtility;
    const char* slaveClass = nullptr;  // null: none
    QSLinkKind link = QSLinkKind::None;
    bool isLocalized = false;  // the name is a word, not a brand
};

// Numbers count as unsigned: a negative one lies beyond the table, too.
const QSServiceType& factsOfServiceType(std::int32_t type);

// "Attachment Upload" and so on, localised; empty for no utility.
std::string nameForUtilityType(std::uint64_t utilityType);

}  // namespace qs
