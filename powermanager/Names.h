// SPDX-FileCopyrightText: The power daemon authors
// SPDX-License-Identifier: MIT
#pragma once

#include <QLatin1StringView>

/// The daemon's name on the session bus.
inline constexpr char kServiceName[] = "com.quillmark.zelt.powermanager";
/// Where the daemon serves its object. Also its name as a client of the configuration store, and the object path of its
/// log lines.
inline constexpr char kObjectPath[] = "/com/quillmark/zelt/powermanager/powerobj";
/// The path of the logging client; only the line that announces the start has it as its object path.
inline constexpr char kLogObjectPath[] = "/com/quillmark/zelt/powermanager/logobj";

/// The network manager's object. Kept: the line that ends a hard factory reset has this object path.
inline constexpr char kNetworkObjectPath[] = "/com/quillmark/zelt/networkmanager/netobj";

/// The address of another daemon's object on the session bus.
struct ServiceAddress
{
    QLatin1StringView busName;
    QLatin1StringView objectPath;
};

inline constexpr ServiceAddress kFreqService{QLatin1StringView("com.quillmark.zelt.freqmanager"),
                                             QLatin1StringView("/com/quillmark/zelt/freqmanager/freqobj")};
inline constexpr ServiceAddress kSoundService{QLatin1StringView("com.quillmark.zelt.soundmanager"),
                                              QLatin1StringView("/com/quillmark/zelt/soundmanager/soundobj")};
inline constexpr ServiceAddress kPhotoService{QLatin1StringView("com.quillmark.zelt.photomanager"),
                                              QLatin1StringView("/com/quillmark/zelt/photomanager/photoobj")};
inline constexpr ServiceAddress kMicService{QLatin1StringView("com.quillmark.zelt.micmanager"),
                                            QLatin1StringView("/com/quillmark/zelt/micmanager/micobj")};
inline constexpr ServiceAddress kConfigService{QLatin1StringView("com.quillmark.zelt.configmanager"),
                                               QLatin1StringView("/com/quillmark/zelt/configmanager/configobj")};
inline constexpr ServiceAddress kUpdateService{QLatin1StringView("com.quillmark.zelt.updatemanager"),
                                               QLatin1StringView("/com/quillmark/zelt/updatemanager/updateobj")};
inline constexpr ServiceAddress kStatusService{QLatin1StringView("com.quillmark.zelt.statusmanager"),
                                               QLatin1StringView("/com/quillmark/zelt/statusmanager/statusobj")};
inline constexpr ServiceAddress kLightService{QLatin1StringView("com.quillmark.zelt.lightmanager"),
                                              QLatin1StringView("/com/quillmark/zelt/lightmanager/lightobj")};
inline constexpr ServiceAddress kRgbService{QLatin1StringView("com.quillmark.zelt.rgbfeaturemanager"),
                                            QLatin1StringView("/com/quillmark/zelt/rgbfeaturemanager/rgbmanagerobj")};
/// The modem manager's path under the phone manager's name, as deployed.
inline constexpr ServiceAddress kPhoneService{QLatin1StringView("com.quillmark.zelt.phonemanager"),
                                              QLatin1StringView("/com/quillmark/zelt/modemmanager/modemobj")};
inline constexpr ServiceAddress kGpEventService{QLatin1StringView("com.quillmark.zelt.gpeventmanager"),
                                                QLatin1StringView("/com/quillmark/zelt/gpeventmanager/gpeventobj")};
inline constexpr ServiceAddress kSchedulerService{QLatin1StringView("com.quillmark.zelt.scheduler"),
                                                  QLatin1StringView("/com/quillmark/zelt/scheduler/schedulerobj")};
inline constexpr ServiceAddress kEventManagerService{QLatin1StringView("com.quillmark.zelt.eventmanager"),
                                                     QLatin1StringView("/com/quillmark/zelt/eventmanager/eventobj")};
