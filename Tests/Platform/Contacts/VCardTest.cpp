#include "Contacts/VCard.h"

#include <gmock/gmock.h>

#include "Text/Base64.h"
#include "Text/Utf8.h"

namespace qs {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

std::string card(const std::string& lines, const char* version = "3.0") {
    return "BEGIN:VCARD\r\nVERSION:" + std::string(version) + "\r\n" + lines + "END:VCARD\r\n";
}

// Name, then mail addresses with their labels, as "Ada|ada@x(work,pref)".
std::string described(const std::string& bytes) {
    std::string text;
    for (const VCard& each : readVCards(bytes, false)) {
        text += (text.empty() ? "" : "; ") + each.contact.displayName;
        for (const auto& address : each.contact.mailAddresses) {
            text += "|" + address.value;
            for (const auto& label : address.labels)
                text += (label == address.labels.front() ? "(" : ",") + label;
            text += address.labels.empty() ? "" : ")";
        }
    }
    return text;
}

}  // namespace

TEST(VCard, TakesWhatCanBeUnderstood) {
    struct Case {
        const char* why;
        std::string bytes, described;
    };
    for (const Case& c : std::vector<Case>{
             {"3.0", card("FN:Ada Lovelace\r\nEMAIL;TYPE=INTERNET,WORK:ada@x.org\r\n"),
              "Ada Lovelace|ada@x.org(internet,work)"},
             {"4.0, a quoted list of types, and a preference",
              card("FN:Ada\nEMAIL;TYPE=\"home,x\":a@x.org\nEMAIL;PREF=1;TYPE=work:b@x.org\n", "4.0"),
              "Ada|b@x.org(pref,work)|a@x.org(home,x)"},
             {"2.1: bare types and quoted-printable over two lines",
              card("FN;CHARSET=ISO-8859-1;ENCODING=QUOTED-PRINTABLE:J=FCrgen =\r\nK=E4se\r\nEMAIL;HOME:j@x.org\r\n",
                   "2.1"),
              "Jürgen Käse|j@x.org(home)"},
             {"folded, and escaped", card("FN:Smith\\, Jo\r\n hn\r\n"), "Smith, John"},
             {"no FN: from N", card("N:Nevis;Ben;;;\r\n"), "Ben Nevis"},
             {"a firm", card("ORG:Acme\\; Sons;Sales\r\n"), "Acme; Sons"},
             {"nothing but an address", card("EMAIL:mailto:x@x.org\r\n"), "x@x.org|x@x.org"},
             {"a label of a program's own", card("FN:A\r\nitem1.EMAIL:a@x.org\r\nitem1.X-ABLabel:_$!<Work>!$_\r\n"),
              "A|a@x.org(work)"},
             {"several cards; one says nothing", card("FN:A\r\n") + card("NOTE:x\r\n") + card("FN:B\r\n"), "A; B"},
             {"a card in a card is somebody else",
              card("FN:A\r\nAGENT:\r\nBEGIN:VCARD\r\nFN:B\r\nEMAIL:b@x\r\nEND:VCARD\r\nEMAIL:a@x.org\r\n"),
              "A|a@x.org"},
             {"cut off", "BEGIN:VCARD\r\nFN:Half\r\nEMAIL:h@x.o", "Half|h@x.o"},
             {"lower case, blank lines, old line ends", "begin:vcard\rfn:Small\r\rnothing\rend:vcard\r", "Small"},
             {"bytes that are no UTF-8", card("FN:Ren\xE9\r\n"), "René"},
             {"a mark in front", "\xEF\xBB\xBF" + card("FN:Marked\r\n"), "Marked"},
             {"outside of any card", "FN:Nobody\r\n", ""},
         })
        EXPECT_EQ(described(c.bytes), c.described) << c.why;
}

TEST(VCard, TellsNamesPhonesAndPlaces) {
    const auto cards = readVCards(card("UID:u-1\r\nFN:Dr. Ada Lovelace\r\nN:Lovelace;Ada;;Dr.;\r\nNICKNAME:Countess\r\n"
                                       "ORG:Engines Ltd.;Analysis\r\nTITLE:Analyst\r\nTEL;TYPE=CELL:+44 1\r\n"
                                       "TEL;TYPE=WORK,FAX:+44 2\r\n"
                                       "ADR;TYPE=HOME:;;12 St James's Square;London;;SW1Y 4JH;England\r\n"),
                                  false);
    ASSERT_THAT(cards, SizeIs(1));
    const Contact& ada = cards[0].contact;
    EXPECT_EQ(ada.identifier, "u-1");
    EXPECT_EQ(ada.givenName + "|" + ada.familyName + "|" + ada.nickname, "Ada|Lovelace|Countess");
    EXPECT_EQ(ada.organization + "|" + ada.jobTitle, "Engines Ltd.|Analyst");
    ASSERT_THAT(ada.phones, SizeIs(2));
    EXPECT_TRUE(ada.phones[0].is("cell"));
    EXPECT_TRUE(ada.phones[1].is("fax") && ada.phones[1].is("work"));
    ASSERT_THAT(ada.postalAddresses, SizeIs(1));
    EXPECT_EQ(ada.postalAddresses[0].text(), "12 St James's Square\nSW1Y 4JH London\nEngland");
}

TEST(VCard, PicturesAreThoseInTheCard) {
    const std::string bytes = "\x89PNG\r\n\x1A\n picture", base64 = base64EncodedString(bytes);
    struct Case {
        const char* why;
        std::string line, type;
    };
    for (const Case& c : std::vector<Case>{
             {"3.0", "PHOTO;ENCODING=b;TYPE=PNG:" + base64, "image/png"},
             {"4.0", "PHOTO:data:image/png;base64," + base64, "image/png"},
             {"2.1, folded", "PHOTO;PNG;BASE64:\r\n " + base64.substr(0, 9) + "\r\n " + base64.substr(9), "image/png"},
             {"of no stated type", "PHOTO;ENCODING=BASE64:" + base64, "image/png"},
             {"a type that can hold programs is told by the bytes alone", "PHOTO;ENCODING=b;TYPE=SVG:" + base64,
              "image/png"},
             {"a link is not followed", "PHOTO;VALUE=uri:https://x.org/p.png", ""},
             {"broken", "PHOTO;ENCODING=b;TYPE=PNG:***", ""},
         }) {
        const auto cards = readVCards(card("FN:A\r\n" + c.line + "\r\n"), true);
        ASSERT_THAT(cards, SizeIs(1)) << c.why;
        EXPECT_EQ(cards[0].pictureType, c.type) << c.why;
        EXPECT_EQ(cards[0].picture, c.type.empty() ? "" : bytes) << c.why;
    }
}

TEST(VCard, WhatIsWrittenReadsBack) {
    const std::string name =
        "Zoë, née; \\Ünïcödé und sehr lang, damit die Zeile mehr als einmal umgebrochen wird, hier und da Öl";
    const std::string text = newVCard("urn:uuid:1", name, "zoë@exämple.org");
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find("\r\n", at);
        ASSERT_NE(end, std::string::npos);
        EXPECT_LE(end - at, 75U);
        EXPECT_TRUE(isValidUtf8(std::string_view(text).substr(at, end - at)));
        at = end + 2;
    }
    const auto cards = readVCards(text, false);
    ASSERT_THAT(cards, SizeIs(1));
    EXPECT_EQ(cards[0].contact.displayName, name);
    EXPECT_EQ(cards[0].contact.familyName, "Öl");
    EXPECT_TRUE(cards[0].contact.hasMailAddress("zoë@exämple.org"));
    EXPECT_EQ(described(newVCard("2", "", "only@x.org")), "only@x.org|only@x.org(internet)");
}

}  // namespace qs
