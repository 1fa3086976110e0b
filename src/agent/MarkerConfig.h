#pragma once

// The in-band vocabulary of the agent's host: prefixes that give a whole
// message its kind, and marker lines that ride at the end of a text. These are
// what a well-formed sender writes; the readers in agent/Markers also accept
// the keys without the leading control byte, since a relay may strip it.

#include <QStringView>

namespace Config {

// Whole-message kinds. The control JSON follows the prefix directly.
inline constexpr QStringView ccControlPrefix = u"\x02"
                                               "CCCTL";
inline constexpr QStringView ccWorkingPrefix = u"💭 Claude is working";
inline constexpr QStringView ccPriorityPrefix = u"\x02"
                                                "CCNOW";
inline constexpr QStringView ccSystemPrefix = u"\x02"
                                              "CCSYS";

// Marker lines.
inline constexpr QStringView ccMsgMarker = u"\x02"
                                           "CCMSG=";
inline constexpr QStringView ccStartMarker = u"\x02"
                                             "CCSTART=";
inline constexpr QStringView ccTokMarker = u"\x02"
                                           "CCTOK=";
inline constexpr QStringView ccSeenMarker = u"\x02"
                                            "CCSEEN=";
inline constexpr QStringView ccModelMarker = u"\x02"
                                             "CCMODEL=";
inline constexpr QStringView ccEffortMarker = u"\x02"
                                              "CCEFF=";
inline constexpr QStringView ccChromeMarker = u"\x02"
                                              "CCCHROME=";
inline constexpr QStringView ccScreenshotMarker = u"\x02"
                                                  "CCSHOT=";
inline constexpr QStringView ccForMarker = u"\x02"
                                           "CCFOR=";
inline constexpr QStringView ccDoneMarker = u"\x02"
                                            "CCDONE=";

// One-line deploy announcement with a JSON object behind it.
inline constexpr QStringView ccDeployMarker = u"[DEPLOY]";

// Part of the host's vocabulary; the client has no reader for these.
inline constexpr QStringView ccAvatarMarker = u"[AVATAR]";
inline constexpr QStringView ccFileMarker = u"[FILE]";
inline constexpr QStringView ccHandledMarker = u"[HANDLED]";

} // namespace Config
