#pragma once

#include <QString>

// The media control interface's command strings, for CD audio ("cdaudio" devices). Commands
// are words separated by blanks (several blanks count as one), case does not matter:
//   open cdaudio alias NAME          the first CD drive
//   open  D:\  type cdaudio alias NAME   the CD drive with that letter (see Drives)
//   close NAME | all
//   set NAME time format tmsf | msf
//   status NAME media present | number of tracks | length | length track N | position
//              | current track | mode | time format | ready
//   play NAME [from POS] [to POS]    POS in the time format: TMSF "t[:mm[:ss[:ff]]]",
//                                    a bare number being a track; MSF "mm[:ss[:ff]]"
//   pause NAME, resume NAME, stop NAME
// "wait" and "notify" may follow any command and change nothing. Lengths are "mm:ss:ff" in both
// formats (75 frames a second); positions "tt:mm:ss:ff" in TMSF.
class Mci {
public:
    virtual ~Mci() = default;

    // mciSendStringA: runs one command. Returns 0 on success or one of the error codes below.
    // On success reply holds the command's answer ("true", "12", "04:35:00", or empty when it
    // has none; open answers the new device's number); on failure reply is left as it was.
    virtual qint32 mciSendString(const QString& command, QString& reply) = 0;
};

// The MCI error codes this interface returns, with MCI's numbers.
namespace mcierr {
constexpr qint32 UnrecognizedKeyword = 259;  // a word the command does not take ("length1")
constexpr qint32 UnrecognizedCommand = 261;  // an unknown first word
constexpr qint32 Hardware = 262;             // the drive failed to answer
constexpr qint32 InvalidDeviceName = 263;    // an alias that is not open, a drive that is not
constexpr qint32 MissingCommandString = 267; // an empty command
constexpr qint32 BadInteger = 270;           // a number that is not one
constexpr qint32 MissingParameter = 273;     // "status NAME" without an item, "from" alone
constexpr qint32 UnsupportedFunction = 274;  // a command this device does not do
constexpr qint32 DeviceNotReady = 276;       // no readable disc in the drive
constexpr qint32 OutOfRange = 282;           // a track or position not on the disc
constexpr qint32 DuplicateAlias = 289;       // open with an alias already open
constexpr qint32 MissingDeviceName = 292;    // a command without its alias
constexpr qint32 BadTimeFormat = 293;        // set ... time format with an unknown format
} // namespace mcierr
