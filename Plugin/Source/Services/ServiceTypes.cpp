#include "Services/ServiceTypes.h"

#include <array>

#include "Core/QSSession.h"

namespace qs {

namespace {

constexpr QSServiceType kNone;

constexpr std::array<QSServiceType, kHighestServiceType + 1> kTypes{{
    {"Dropbox", "Dropbox", kUploadUtility, "QSDropboxUploader", QSLinkKind::Slave},
    kNone,
    {"CloudApp", "CloudApp", kUploadUtility, "QSCloudAppUploader", QSLinkKind::LoginPanel},
    {"Droplr", "Droplr", kUploadUtility, "QSDroplrUploader", QSLinkKind::LoginPanel},
    {"Dropmark", "Dropmark", kUploadUtility, "QSDropmarkUploader", QSLinkKind::LoginPanel},
    {"MediaFire", "MediaFire", kUploadUtility, "QSMediaFireUploader", QSLinkKind::LoginPanel},
    {"Box", "Box", kUploadUtility, "QSBoxUploader", QSLinkKind::Slave},
    {"Google Drive", "GoogleDrive", kUploadUtility, "QSGoogleDriveUploader", QSLinkKind::Slave},
    {"ownCloud", "OwnCloud", kUploadUtility, "QSOwnCloudUploader", QSLinkKind::OwnCloudPanel},
    {"FTP/SFTP/WebDAV", "FTP", kUploadUtility, "QSGenericUploader", QSLinkKind::FTPPanel},
    {"Evernote", "Evernote", kNotesUtility, "QSEvernoteConverter", QSLinkKind::EvernotePanel},
    {"Gravatar", "Gravatar", kContactImagesUtility, "QSGravatarLoader", QSLinkKind::AtOnce},
    kNone,
    {"Flickr", "Flickr", kContactImagesUtility, "QSFlickrLoader", QSLinkKind::AtOnce},
    {"Google+", "Google+", kContactImagesUtility, "QSGooglePlusLoader", QSLinkKind::AtOnce},
    {"Websites", "Websites", kContactImagesUtility, "QSFaviconLoader", QSLinkKind::AtOnce, true},
    {"Contacts", "Contacts", kContactImagesUtility, "QSAddressbookLoader", QSLinkKind::AtOnce, true},
    {"Reminders", "Reminders", kTasksUtility, "QSAppleRemindersConverter", QSLinkKind::AtOnce, true},
    {"OneNote", "OneNote", kNotesUtility, "QSOneNoteConverter", QSLinkKind::Slave},
    {"OneDrive", "OneDrive", kUploadUtility, "QSOneDriveUploader", QSLinkKind::Slave},
    {"Wunderlist", "Wunderlist", kTasksUtility, "QSWunderlistConverter", QSLinkKind::Slave},
    {"Todoist", "Todoist", kTasksUtility, "QSTodoistConverter", QSLinkKind::Slave},
    {"Asana", "Asana", kTasksUtility, "QSAsanaConverter", QSLinkKind::Slave},
    kNone,
    {"Quillstead", "Quillstead", kContactImagesUtility, nullptr, QSLinkKind::None},
}};

}  // namespace

const QSServiceType& factsOfServiceType(std::int32_t type) {
    const auto number = static_cast<std::uint32_t>(type);
    return number < kTypes.size() ? kTypes[number] : kNone;
}

std::string nameForUtilityType(std::uint64_t utilityType) {
    constexpr std::array<const char*, 4> names{"Attachment Upload", "Notes/Reminders", "Contact Images",
                                               "Tasks/Reminders"};
    return utilityType < names.size() ? QSLocalizedString(names[utilityType]) : std::string();
}

}  // namespace qs
