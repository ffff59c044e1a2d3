// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

/// What a factory reset writes into the configuration store. A product changes only the two settings below and the
/// table.
namespace factory {

/// Pass phrase of the factory Wi-Fi networks: nine lower-case letters.
inline constexpr char kPassPhrase[] = "brightfox";
/// Code for pairing a Bluetooth device: four digits.
inline constexpr char kBluetoothCode[] = "7351";

enum class Kind
{
    Now,  ///< overwrites the key with the local time, "yyyy/MM/dd-hh:mm:ss"
    Set,  ///< overwrites the key
    Keep, ///< leaves a key that has a text as it is
    Mode, ///< overwrites the key with the text for the mode that the mode-select input shows, if it shows one
};

struct Setting
{
    const char* group;
    const char* key;
    Kind kind;
    const char* value;                 ///< for Kind::Mode: in infrastructure mode
    const char* accessPointValue = ""; ///< for Kind::Mode: as an access point
};

/// In the order in which they are written. The first write that fails ends the reset.
inline constexpr Setting kSettings[] = {
    {"GENERAL", "LastRestore", Kind::Now, ""},
    {"GENERAL", "SerialNumber", Kind::Keep, ""}, // the device's identity: these four outlast every reset
    {"GENERAL", "PartNumber", Kind::Keep, ""},
    {"GENERAL", "ZeltId", Kind::Keep, ""},
    {"GENERAL", "Nickname", Kind::Keep, ""},
    {"GENERAL", "ServerIp", Kind::Set, "127.0.0.1"}, // no server
    {"GENERAL", "Timezone", Kind::Set, "UTC"},

    {"GPS", "ALWAYSON", Kind::Set, "0"},   // on only while somebody asks for a position
    {"GPS", "my_fix_mode", Kind::Set, ""}, // the last position: forgotten
    {"GPS", "my_gps_fix_time", Kind::Set, ""},
    {"GPS", "my_latitude", Kind::Set, ""},
    {"GPS", "my_longitude", Kind::Set, ""},
    {"GPS", "my_altitude", Kind::Set, ""},
    {"GPS", "my_sats_visible", Kind::Set, ""},
    {"GPS", "my_sats_used", Kind::Set, ""},

    {"DEVICES_SETUP", "lan-enable", Kind::Set, "1"},
    {"DEVICES_SETUP", "lan-dhcp", Kind::Set, "1"},
    {"DEVICES_SETUP", "lan-ipaddress", Kind::Set, ""},
    {"DEVICES_SETUP", "lan-subnet", Kind::Set, ""},
    {"DEVICES_SETUP", "lan-gateway", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-repeater-enable", Kind::Set, "0"},
    {"DEVICES_SETUP", "wifi-repeater-mode", Kind::Set, "0"},
    {"DEVICES_SETUP", "wifi-repeater-name", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-repeater-freq", Kind::Set, "2412"}, // MHz: channel 1
    {"DEVICES_SETUP", "wifi-repeater-dhcp", Kind::Set, "0"},
    {"DEVICES_SETUP", "wifi-repeater-ipaddress", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-repeater-subnet", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-ap-ssid", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-infrastructure-enable", Kind::Mode, "1", "0"},
    {"DEVICES_SETUP", "wifi-ap-enable", Kind::Mode, "0", "1"},
    {"DEVICES_SETUP", "wifi-ap-passwd", Kind::Set, kPassPhrase},
    {"DEVICES_SETUP", "wifi-ap-freq", Kind::Set, "2462"}, // MHz: channel 11
    {"DEVICES_SETUP", "wifi-regulatory-region", Kind::Keep, "IT"},
    // In both modes, so that no reset leaves a user's network behind.
    {"DEVICES_SETUP", "wifi-infrastructure-ssid", Kind::Set, "QUILLMARK"},
    {"DEVICES_SETUP", "wifi-infrastructure-passwd", Kind::Set, kPassPhrase},
    {"DEVICES_SETUP", "wifi-infrastructure-dhcp", Kind::Set, "1"},
    {"DEVICES_SETUP", "wifi-infrastructure-ipaddress", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-infrastructure-subnet", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-infrastructure-gateway", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-infrastructure-security", Kind::Set, "0"},
    {"DEVICES_SETUP", "wifi-infrastructure-identity", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-infrastructure-eaptype", Kind::Set, ""},
    {"DEVICES_SETUP", "wifi-infrastructure-eapphase2", Kind::Set, ""},
    {"DEVICES_SETUP", "gprs-enabled", Kind::Set, "0"},
    {"DEVICES_SETUP", "gprs-apn", Kind::Set, ""},
    {"DEVICES_SETUP", "gprs-username", Kind::Set, ""},
    {"DEVICES_SETUP", "gprs-password", Kind::Set, ""},

    {"SIP", "enabled", Kind::Set, "1"},
    {"SIP", "autoanswer", Kind::Set, "0"},
    {"SIP", "user", Kind::Set, ""},
    {"SIP", "password", Kind::Set, ""},
    {"SIP", "registrar", Kind::Set, ""},
    {"SIP", "stun", Kind::Set, ""},
    {"SIP", "interfeces_priority", Kind::Set, "wlan:lan"}, // spelled so by its readers

    {"BLUETOOTH", "bt-enable", Kind::Set, "1"},
    {"BLUETOOTH", "bt-disable-legacy", Kind::Set, "0"},
    {"BLUETOOTH", "bt-pid", Kind::Set, kBluetoothCode},
    {"BLUETOOTH", "bt-latency", Kind::Set, "1000"},
    {"BLUETOOTH", "bt-timeout-reconnect-1", Kind::Set, "5000"},

    {"RGB", "disabled", Kind::Set, "0"},

    {"SOUND", "masterVolume", Kind::Set, "-32"}, // in the sound service's unit, like the four volumes below
    {"SOUND", "masterMute", Kind::Set, "0"},
    {"SOUND", "amplifiersDefault", Kind::Set, "1"},
    {"SOUND", "radioFmVolume", Kind::Set, "100"},
    {"SOUND", "fileVolume", Kind::Set, "100"},
    {"SOUND", "playlistVolume", Kind::Set, "100"},
    {"SOUND", "streamVolume", Kind::Set, "100"},
    {"SOUND", "radioFmFreq", Kind::Set, "87.5"}, // MHz
};

} // namespace factory
