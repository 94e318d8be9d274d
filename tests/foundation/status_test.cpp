// Every code and name of the tables, and what is beside them.
#include "status.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct StatusRow {
    STATUS value;
    STATUS number;
    const char* symbol;
    const char* text;
};

constexpr StatusRow kStatuses[] = {
    {STATUS_SUCCESS, 100, "STATUS_SUCCESS", "Success"},
    {STATUS_BUSY, 101, "STATUS_BUSY", "Busy"},
    {STATUS_COMMUNICATION_FAILURE, 102, "STATUS_COMMUNICATION_FAILURE", "Communication Failure"},
    {STATUS_DISCONNECTED, 103, "STATUS_DISCONNECTED", "Disconnected"},
    {STATUS_FAILED, 104, "STATUS_FAILED", "Failed"},
    {STATUS_PENDING, 105, "STATUS_PENDING", "Pending"},
    {STATUS_NO_RESOURCES, 106, "STATUS_NO_RESOURCES", "No Resources"},
    {STATUS_NOT_FOUND, 107, "STATUS_NOT_FOUND", "Not Found"},
    {STATUS_NOT_SUPPORTED, 108, "STATUS_NOT_SUPPORTED", "Not Supported"},
    {STATUS_IN_PROGRESS, 109, "STATUS_IN_PROGRESS", "In Progress"},
    {STATUS_REJECTED, 110, "STATUS_REJECTED", "Rejected"},
    {STATUS_USER_TERMINATED, 111, "STATUS_USER_TERMINATED", "User-Terminated"},
    {STATUS_VERIFY_FAILED, 112, "STATUS_VERIFY_FAILED", "Verify Failed"},
    {STATUS_INVALID_HANDLE, 113, "STATUS_INVALID_HANDLE", "Invalid Handle"},
    {STATUS_UNRECOGNISED, 114, "STATUS_UNRECOGNISED", "UNKNOWN"},
    {STATUS_AUTH_FAILED, 115, "STATUS_AUTH_FAILED", "Authentication Failed"},
    {STATUS_COMPLETE, 116, "STATUS_COMPLETE", "Complete"},
    {STATUS_DISALLOWED, 117, "STATUS_DISALLOWED", "Disallowed"},
    {STATUS_INCOMPATIBLE_VERSION, 118, "STATUS_INCOMPATIBLE_VERSION", "Incompatible Version"},
    {STATUS_DEVICE_ERROR, 119, "STATUS_DEVICE_ERROR", "Device Error"},
    {STATUS_INVALID_PARAM, 120, "STATUS_INVALID_PARAM", "Invalid Parameter"},
    {STATUS_TIMEOUT, 121, "STATUS_TIMEOUT", "Time Out"},
    {STATUS_SECURITY_BLOCK, 122, "STATUS_SECURITY_BLOCK", "Security Block"},
    {STATUS_NO_FIRST_VALUE, 123, "STATUS_NO_FIRST_VALUE", "No first value"},
};

struct ServiceRow {
    SERVICE value;
    SERVICE number;
    const char* symbol;  ///< of the constant
    bool has_symbolic_text;
    const char* text;
};

constexpr ServiceRow kServices[] = {
    {UNKNOWN_SERVICE, 0, "UNKNOWN_SERVICE", false, "UNKNOWN"},
    {HANDS_FREE_SERVICE, 1, "HANDS_FREE_SERVICE", false, "HandsFree"},
    {VOICE_SERVICE, 2, "VOICE_SERVICE", true, "Voice"},
    {DATA_SERVICE, 3, "DATA_SERVICE", true, "Data"},
    {FILE_XFER_SERVICE, 4, "FILE_XFER_SERVICE", true, "FileTransfer"},
    {REMOTE_DATA_SERVICE, 5, "REMOTE_DATA_SERVICE", true, "RemoteData"},
    {PHONEBOOK_SERVICE, 6, "PHONEBOOK_SERVICE", true, "Phonebook"},
    {PHONEBOOK_PBAP_SERVICE, 7, "PHONEBOOK_PBAP_SERVICE", true, "PBAP"},
    {PHONEBOOK_SYNCH_SERVICE, 8, "PHONEBOOK_SYNCH_SERVICE", true, "PB-Synch"},
    {PHONEBOOK_SYNCH_ML_SERVICE, 9, "PHONEBOOK_SYNCH_ML_SERVICE", true, "PB-SynchML"},
    {PHONEBOOK_FXFER_SERVICE, 10, "PHONEBOOK_FXFER_SERVICE", true, "PB-fxfer"},
    {PHONEBOOK_OPUSH_SERVICE, 11, "PHONEBOOK_OPUSH_SERVICE", true, "PB-Opush"},
    {PHONEBOOK_ATCMD_SERVICE, 12, "PHONEBOOK_ATCMD_SERVICE", true, "PB-At"},
    {PAIR_SERVICE, 13, "PAIR_SERVICE", false, "Pair"},
    {MUSIC_SERVICE, 14, "MUSIC_SERVICE", true, "Music"},
    {AUDIO_VISUAL_SERVICE, 15, "AUDIO_VISUAL_SERVICE", true, "AudioVisual"},
    {ALL_SERVICE, 16, "ALL_SERVICE", false, "All"},
    {DISCOVERY_SERVICE, 17, "DISCOVERY_SERVICE", false, "Discovery"},
    {MESSAGE_SERVICE, 18, "MESSAGE_SERVICE", true, "Message Access"},
    {MESSAGE_ATCMD_SERVICE, 19, "MESSAGE_ATCMD_SERVICE", true, "Message Access - AT"},
    {MESSAGE_MAP_SERVICE, 20, "MESSAGE_MAP_SERVICE", true, "Message Access - MAP"},
    {WIRELESS_IAP_SERVICE, 21, "WIRELESS_IAP_SERVICE", false, "Wireless IAP"},
    {PANDORA_SERVICE, 22, "PANDORA_SERVICE", false, "Pandora"},
    {PANDORA_IOS_SERVICE, 23, "PANDORA_IOS_SERVICE", false, "Pandora IOS"},
    {CUSTOM_IR_SERVICE, 24, "CUSTOM_IR_SERVICE", false, "Custom IR"},
    {CUSTOM_IR_IOS_SERVICE, 25, "CUSTOM_IR_IOS_SERVICE", false, "Custom IR IOS"},
};

struct TransportRow {
    TRANSPORT value;
    TRANSPORT number;
    const char* text;
};

constexpr TransportRow kTransports[] = {
    {TRANSPORT_NONE, 0, "TransportNone"},         {TRANSPORT_BLUETOOTH, 1, "TransportBluetooth"},
    {TRANSPORT_EMBEDDED, 2, "TransportEmbedded"}, {TRANSPORT_CRADLE, 3, "TransportCradle"},
    {TRANSPORT_WDC, 4, "TransportWDC"},           {TRANSPORT_DDC, 5, "TransportDDC"},
};

TEST(Status, EveryStatusHasItsNumberAndTexts)
{
    static_assert(sizeof(STATUS) == 4 && static_cast<STATUS>(-1) > 0);
    ASSERT_EQ(std::size(kStatuses), 24U);
    for (const auto& row : kStatuses) {
        EXPECT_EQ(row.value, row.number) << row.symbol;
        EXPECT_STREQ(StatusToStr(row.value), row.text);
        EXPECT_EQ(StatusStrToStatus(row.symbol), row.value) << row.symbol;
    }
}

TEST(Status, ValuesOutsideTheTableAreUnknown)
{
    for (const STATUS status :
         {0U, 1U, 99U, 114U, 124U, 125U, 0x7FFFFFFFU, 0x80000064U, UINT32_MAX}) {
        EXPECT_STREQ(StatusToStr(status), "UNKNOWN") << status;
    }
}

TEST(Status, OtherTextsAreNotRecognised)
{
    for (const char* text :
         {"", " ", "STATUS_", "STATUS", "SUCCESS", "Success", "UNKNOWN", "100", "STATUS_SUCCES",
          "STATUS_SUCCESSS", " STATUS_SUCCESS", "STATUS_SUCCESS ", "STATUS_SUCCESS\n",
          "status_success", "Status_Success", "status_no_first_value", "STATUS_UNKNOWN"}) {
        EXPECT_EQ(StatusStrToStatus(text), 114U) << '"' << text << '"';
    }
    EXPECT_EQ(StatusStrToStatus(nullptr), 114U);
}

TEST(Status, EveryServiceHasItsNumberAndTexts)
{
    static_assert(sizeof(SERVICE) == 4 && static_cast<SERVICE>(-1) > 0);
    ASSERT_EQ(std::size(kServices), 26U);
    int with_symbolic_text = 0;
    for (const auto& row : kServices) {
        EXPECT_EQ(row.value, row.number) << row.symbol;
        EXPECT_STREQ(ServiceToStr(row.value), row.text);
        EXPECT_EQ(ServiceStrToService(row.symbol),
                  row.has_symbolic_text ? row.value : SERVICE{UNKNOWN_SERVICE})
            << row.symbol;
        with_symbolic_text += row.has_symbolic_text ? 1 : 0;
    }
    EXPECT_EQ(with_symbolic_text, 16);
}

TEST(Status, ServicesOutsideTheTableAreUnknown)
{
    for (const SERVICE service : {0U, 26U, 27U, 256U + 2U, 0x80000002U, UINT32_MAX}) {
        EXPECT_STREQ(ServiceToStr(service), "UNKNOWN") << service;
    }
}

TEST(Status, OtherTextsAreNoService)
{
    for (const auto& row : kServices) {
        EXPECT_EQ(ServiceStrToService(row.text), 0U) << "display text " << row.text;
    }
    for (const char* text : {"", " ", "VOICE", "voice_service", "VOICE_SERVICE ", " VOICE_SERVICE",
                             "VOICE_SERVICES", "_SERVICE", "2"}) {
        EXPECT_EQ(ServiceStrToService(text), 0U) << '"' << text << '"';
    }
    EXPECT_EQ(ServiceStrToService(nullptr), 0U);
}

TEST(Status, NoShortTextIsAStatusOrAService)
{
    for (int first = 1; first <= 255; ++first) {
        for (int second = 0; second <= 255; ++second) {
            const char text[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
            ASSERT_EQ(StatusStrToStatus(text), 114U) << text;
            ASSERT_EQ(ServiceStrToService(text), 0U) << text;
        }
    }
}

TEST(Status, EveryTransportHasItsNumberAndText)
{
    static_assert(sizeof(TRANSPORT) == 4 && static_cast<TRANSPORT>(-1) > 0);
    ASSERT_EQ(std::size(kTransports), 6U);
    for (const auto& row : kTransports) {
        EXPECT_EQ(row.value, row.number) << row.text;
        EXPECT_STREQ(TransportToStr(row.value), row.text);
    }
    for (const TRANSPORT transport : {6U, 7U, 256U, 0x80000000U, UINT32_MAX}) {
        EXPECT_STREQ(TransportToStr(transport), "UNKNOWN") << transport;
    }
}

TEST(Status, TextsStayValid)
{
    std::vector<std::pair<const char*, std::string>> texts;
    const auto keep = [&](const char* text) { texts.emplace_back(text, text); };
    for (STATUS status = 99; status <= 124; ++status) {
        keep(StatusToStr(status));
    }
    for (SERVICE service = 0; service <= 26; ++service) {
        keep(ServiceToStr(service));
    }
    for (TRANSPORT transport = 0; transport <= 6; ++transport) {
        keep(TransportToStr(transport));
    }
    for (const auto& [text, copy] : texts) {
        EXPECT_EQ(text, copy);
    }
}

}  // namespace
