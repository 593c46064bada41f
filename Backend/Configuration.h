// How a backend is set up: a text file of sections and "name = value" lines, with everything that can be set explained
// in the file that --example-config prints.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/Result.h"
#include "Smtp/SubmissionServer.h"

namespace qs {

// What is kept of the address from which a pixel was fetched.
enum class AddressDetail { None, Shortened, Full };

struct BackendConfiguration {
    std::vector<std::string> listenAddresses = {"127.0.0.1"};
    int port = 8025;
    std::string baseUrl;  // as others reach this server, without a slash at its end; empty: by address and port
    std::string clientKey;
    std::vector<std::string> trustedProxies;
    int mostConnections = 1024;
    int metricsPort = 0;  // 0: none

    std::filesystem::path databaseFile;  // SQLite; used unless `postgres` is set
    std::string postgres;                // libpq's connection text
    int postgresConnections = 8;

    std::string mailFrom;
    std::filesystem::path mailFolder;  // a Maildir that letters are put into; used unless `smtp` has a host
    std::map<std::string, std::filesystem::path> mailFolders;  // by address, for whom another Maildir is meant
    SubmissionServer smtp;

    std::filesystem::path placeDatabase;
    AddressDetail addressDetail = AddressDetail::Shortened;
    int keepDays = 400;  // opens, and pixels that have none

    std::filesystem::path templateFolder;
    std::string operatorContact;  // shown on the page of terms
};

// Says with line and name what is wrong. Paths are relative to `folder`.
Result<BackendConfiguration> parseBackendConfiguration(std::string_view text, const std::filesystem::path& folder);
// A configuration with every setting explained.
std::string exampleBackendConfiguration();
// Everything in one folder, on the loopback interface, letters into a Maildir in it.
BackendConfiguration demoBackendConfiguration(const std::filesystem::path& folder);

}  // namespace qs
