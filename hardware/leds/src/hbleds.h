// The robot's LED service: turns requests on devices, LEDs and groups into timed writes to the
// motion service, and reads the robot's memory back. Made by the library's entry point, destroyed
// by whoever unloads the library. Its definitions stand in one file per concern, hbleds_*.cpp.
#pragma once

#include <atomic>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <shared_mutex>
#include <string>
#include <vector>

#include "framework/hb/hb_module.h"
#include "framework/xo/log.h"
#include "framework/xo/task_group.h"
#include "hardware/leds/src/color.h"
#include "hardware/leds/src/ledinfo.h"

namespace HB {

class EarsRotationASR;
class EyesRotationASR;
class PassiveBlinking;

/// A future that becomes ready `seconds` after this call, whatever the hardware does. Returns at
/// once. The fraction of a microsecond is dropped; NaN and negative times are over at once, times
/// too long to represent never are. It may outlive the module.
xo::Future<void> blockFor(float seconds);

/// Published as the service "HBLeds". Thread-safe once constructed: calls arrive on many threads.
///
/// A name is a device (one colour channel, "Face/Led/Red/Left/0Deg/Actuator/Value"), a short LED
/// name (one physical LED, "RGB-LED" in messages) or a group, tried in this order. Intensities are
/// fractions, 0..1; durations are seconds, single precision. Each write sends the intensity times
/// the device's ratio.
///
/// Every command that writes first makes a ScopedDisablePassiveBlinking for its name, before its
/// checks, and keeps it to the end; then takes `fLedsMutex` as its description says, and keeps it
/// while it calls the motion service. Fades return as soon as the command is sent. Unless said
/// otherwise an error is thrown before anything is sent, and writing without a motion service, or
/// to one that is gone, does nothing and reports nothing.
class HBLeds : public HBModule {
 public:
  /// Connects to HBMemory, the session, HBMotion (blocks until it is registered) and HBRobotModel
  /// (the same), builds the inventory from the robot's model and describes the methods. Errors:
  /// whatever keeps it from these, except that it starts without HBMotion's object when that
  /// cannot be had within a minute of its registration.
  explicit HBLeds(std::shared_ptr<HBBroker> broker);
  ~HBLeds() override;

  // Inventory (hbleds_inventory.cpp). All lists are in ascending byte order.

  /// Makes or replaces a group of the devices that `ledNames` (any kind) stand for now. Locks
  /// exclusively after the first two checks. Errors, changing nothing: `std::invalid_argument` for
  /// an empty group name, an empty list, an unknown name.
  void createGroup(const std::string& groupName, const std::vector<std::string>& ledNames);
  /// All short LED names. Takes no lock: that table never changes after construction.
  std::vector<std::string> listLEDs() const;
  /// The devices of a short LED name. Takes no lock. Errors: `std::invalid_argument` when it is
  /// none. Warns of a deprecated name first.
  std::vector<std::string> listLED(const std::string& name) const;
  /// The devices of a group. Shared lock. Warns first. Errors: `std::invalid_argument`.
  std::vector<std::string> listGroup(const std::string& name) const;
  /// All group names. Shared lock.
  std::vector<std::string> listGroups() const;

  // Intensities (hbleds_intensity.cpp). Shared lock. Errors: `std::invalid_argument` for an
  // intensity outside 0..1 or NaN (before the lock) and for an unknown name.

  /// At once; warns of a deprecated name before its checks.
  void setIntensity(const std::string& name, const float& intensity);
  /// At once and without that warning: how the deprecated chest LEDs may be driven.
  void setAnyLedIntensity(const std::string& name, const float& intensity);
  /// Any duration is passed on as it is. The future is `blockFor(duration)`.
  xo::Future<void> fade(const std::string& name, const float& intensity, const float& duration);
  void on(const std::string& name);
  void off(const std::string& name);
  /// Every device of the name to its default intensity, at once.
  void reset(const std::string& name);
  /// Of a device a float, of a short LED name a list of floats in the order of its devices: what
  /// the memory holds divided by the ratio, at most 1. Does not pause passive blinking. Errors:
  /// `std::runtime_error` for every group; the memory's.
  HBValue getIntensity(const std::string& name) const;
  /// The factor of every later write and read of the name's devices. Exclusive lock. Errors:
  /// `std::invalid_argument` outside 0.4..1 (the published text says 0.6; both are meant to stay)
  /// or for an unknown name. NaN is accepted: the motion service then refuses those devices.
  void _setIntensityRatio(const std::string& name, const float& ratio);

  // Colours (hbleds_color.cpp), of short LED names and groups; a device is refused. Shared lock.
  // Channels are not checked. Errors: `std::invalid_argument` for a device or an unknown name.

  /// Warns of a deprecated name after the command. The future is `blockFor(duration)`.
  xo::Future<void> fadeRGB(const std::string& name, const float& red, const float& green,
                           const float& blue, const float& duration);
  /// "red", "green", "blue", "yellow", "magenta", "cyan", "white" or their first letters. Errors:
  /// also `std::invalid_argument` for another text, before passive blinking is paused.
  xo::Future<void> fadeRGB(const std::string& name, const std::string& colorName,
                           const float& duration);
  /// `rgb` is 0x00RRGGBB; higher bits are ignored.
  xo::Future<void> fadeRGB(const std::string& name, const int& rgb, const float& duration);
  /// The first `fadeRGB` without the warning.
  xo::Future<void> _fadeRGB(const std::string& name, const float& red, const float& green,
                            const float& blue, const float& duration);
  /// One write per colour (0x00RRGGBB), timed from now at the running sum of the list of seconds.
  /// The future is ready after the whole sum. Errors: also `std::invalid_argument` for what is not
  /// a list and for lists of unequal length, before the lock; for an element that is no number,
  /// after the steps before it were sent.
  xo::Future<void> fadeListRGB(const std::string& name, const HBValue& rgbList,
                               const HBValue& timeList);

  // Animations (hbleds_animation.cpp), on the calling thread until they end. Shared lock for the
  // whole run, so that only an exclusive operation waits for them. The eyes' pause passive blinking
  // for the whole run, before their checks. A stop is seen where each says; at the module's
  // unloading their sleeps end too. Errors: `std::invalid_argument` before anything is sent.

  /// A green, yellow and red pattern runs round eyes, feet and chest in cycles of 200 ms for 1.1
  /// times `duration` (seconds; none for NaN, zero and less; at most 2^31 ms), then everything is
  /// reset. Not checked. A stop is seen between cycles.
  void rasta(const float& duration);
  /// A light of colour `rgb` (0x00RRGGBB) runs round both eyes, `timeForRotation` seconds a turn,
  /// until whole turns sum up to `totalDuration` seconds; both 0..86400. A turn of 0 s never gets
  /// there: it runs without sleeping until it is stopped. A stop is seen between turns. The eyes
  /// end dark.
  void rotateEyes(const int& rgb, const float& timeForRotation, const float& totalDuration);
  /// Random colours in the eyes every 20 ms for `duration` seconds (as in `rasta`); they keep the
  /// last. A stop is seen between cycles. Errors of the run are logged, not thrown.
  void randomEyes(const float& duration);
  /// Two lit fronts run round the ears to the opposite of `degrees` (0..360; 0 is up, 90 forwards)
  /// in about `duration` seconds (above 0, at most 86400). The LED where they meet stays lit when
  /// `leaveOnAtEnd`. Cannot be stopped. Nothing, without a lock, on a robot without ears.
  void earLedsSetAngle(const int& degrees, const float& duration, const bool& leaveOnAtEnd);

  // Blinks (hbleds_blink.cpp): eighteen steps on the event loop, each under a shared lock of its
  // own.

  /// Blocks until the blink is over, however it ends.
  void blink();
  /// Asks HBSignsAndFeedback for its blink and waits for that, up to a minute for the service to
  /// come; shared lock for all of it. The colour is not handed on: intended. Errors are logged, not
  /// thrown.
  void blink(const int& eyeShadow);
  /// Returns while the blink runs.
  void blinkWithShadow();
  /// The future of one blink without shadow; cancelling ends it before its next step. Errors become
  /// the future's.
  xo::Future<void> cancellableBlink();

  // Passive blinking, see PassiveBlinking (hbleds_blink.cpp).

  void startPassiveBlinking();
  /// Errors: `std::invalid_argument` outside 0..0xFFFFFF, -1 included.
  void startPassiveBlinking(const int& eyeShadow);
  void stopPassiveBlinking();
  void setTimeBetweenTwoBlinks(const float& min, const float& max);

  // For this module's own parts; not published.

  /// Lets deferred work (a tick, a timer's handler) in while this object stands: the token is false
  /// once it goes.
  xo::Gate::Token enter() noexcept { return fTasks->enter(); }
  /// One colour step for a group, under a shared lock of its own.
  void drawGroup(const std::string& group, const Color& color, float duration);
  /// `fadeRotationStep` under a shared lock of its own.
  void drawRotationStep(int step, const Color& color, float stepDuration);

  // These take no lock: `fLedsMutex` is the caller's.

  /// One colour step for all devices of a group, as `xSetGroupRGB`.
  void setGroupRGB(const std::string& group, float red, float green, float blue, float duration);
  void setGroupColor(const std::string& group, const Color& color, float duration);
  /// One step (0..7) of an eye rotation: the position fades to the colour within four step times
  /// and back to black within a fifth, so that about five positions glow behind the head.
  void fadeRotationStep(int step, const Color& color, float stepDuration);

 private:
  friend class LedsAccess;
  struct MethodTable;  // hbleds_methods.cpp

  using DeviceSet = std::set<std::string>;
  using DeviceTable = std::map<std::string, DeviceSet>;

  // Steps of the constructor (hbleds.cpp), in its order.
  void xConnectToMemory();
  void xConnectToSession();
  void xConnectToMotion();
  /// The robot's configuration, one XML text.
  std::string xReadRobotConfig();
  void xCountEarLeds();
  void xPublishMethods();  // hbleds_methods.cpp

  // What the robot's model decides (hbleds_discovery.cpp), in the constructor's order.
  /// Fills the inventory. Errors: `std::runtime_error` for a model without LEDs; those of the
  /// model.
  void xDiscoverLeds(const std::string& xml);
  /// Dims the ears, and the face, of those heads that need it. Swallows every std::exception.
  void xApplyHeadIntensityRatios(const std::string& xml);
  void xApplyDefaultIntensities();
  void xMarkDeprecatedLeds();
  /// Face devices and every group of theirs pause passive blinking. Swallows as above.
  void xRegisterFaceConflicts();

  // Inventory (hbleds_inventory.cpp). No locks: callers hold what they need.
  void xAddLed(const std::string& device, const std::string& shortName,
               const std::vector<std::string>& groups, Sim::LEDActuator::Color color);
  /// Creates or replaces; all devices are known. Tells passive blinking whether the group disturbs.
  void xCreateDeviceGroup(const std::string& groupName, DeviceSet devices);
  void xAddDeprecatedLed(const std::string& name);
  /// Warns in the log when the name is deprecated.
  void xDisplayDeprecation(const std::string& name) const;
  bool xIsDeviceName(const std::string& name) const;
  bool xIsLedName(const std::string& name) const;
  bool xIsGroupName(const std::string& name) const;
  /// The devices that a name of any kind stands for. Errors: `std::invalid_argument`.
  DeviceSet xGetDeviceNames(const std::string& name) const;

  // The only road to the hardware and back (hbleds_write.cpp). No locks.
  /// What motion service and memory call a device.
  std::string xKeyOf(const std::string& device) const;
  /// One synchronous call: keys, and for each its times (seconds from now) and values (0..1).
  /// Errors: `std::runtime_error` "This object is null" without a motion service; the service's.
  void xAnimateLeds(const std::vector<std::string>& names,
                    const std::vector<std::vector<float>>& times,
                    const std::vector<std::vector<float>>& values);
  /// Whether there is a motion service to write to now.
  bool xHasMotion() const { return fMotion.isAlive(); }
  /// Drops every std::exception. The device exists.
  void xSetDeviceIntensity(const std::string& device, float intensity, float duration);
  /// One write per device. Errors: `std::out_of_range` for an unknown LED name.
  void xSetIntensity(const std::string& ledName, float intensity, float duration);
  /// One write for all devices; logs a std::exception from it. Nothing for an unknown group.
  void xSetGroupIntensity(const std::string& group, float intensity, float duration);
  /// By kind of name, at once. Errors: `std::invalid_argument` for an unknown name.
  void xSetAnyLedIntensity(const std::string& name, float intensity);
  float xGetDeviceIntensity(const std::string& device) const;
  /// A list of floats. Errors: `std::out_of_range` for an unknown LED name.
  HBValue xGetIntensity(const std::string& ledName) const;
  /// Invalid for an unknown group. Errors: `std::runtime_error` for every other: not implemented.
  HBValue xGetGroupIntensity(const std::string& group) const;
  /// Errors: `std::invalid_argument` outside 0..1, NaN, an unknown name. For construction only.
  void xSetDefaultIntensity(const std::string& name, float value);
  void xReset(const std::string& name);

  // Colours (hbleds_color.cpp). No locks.
  /// By kind of name. Errors: `std::invalid_argument` for a device or an unknown name.
  void xFadeRGB(const std::string& name, float red, float green, float blue, float duration);
  /// One write per device, its channel told by its LedInfo; devices of other colours are left out.
  /// Errors: `std::out_of_range` for an unknown LED name.
  void xSetRGB(const std::string& ledName, float red, float green, float blue, float duration);
  /// A sequence of colours at `times` (seconds from now) for all devices of a group in one write;
  /// the channel is told by the device's name: "Red" or "Green" anywhere in it, else blue. Nothing
  /// for an unknown group or without a motion service; logs a std::exception from the write.
  /// Errors, after those two: `std::runtime_error` for lists of unequal length.
  void xSetGroupRGB(const std::string& group, const std::vector<float>& reds,
                    const std::vector<float>& greens, const std::vector<float>& blues,
                    const std::vector<float>& times);

  // Animations (hbleds_animation.cpp) and blinks (hbleds_blink.cpp).
  /// The eyes at `offset` degrees; devices that the robot lacks are left out. No lock.
  void xDrawRastaEyes(int offset);
  /// Feet and chest at phase 0..2; parts that the robot lacks are left out. No lock.
  void xDrawRastaBody(int phase);
  /// One ear position, any integer, fully on or off at once. No lock. There is at least one.
  void xSetEar(int position, bool on);
  /// The angle part of a face device's name, "90Deg", for any angle: rounded toward zero.
  std::string xGetLedNameFromPos(int degrees) const;
  /// Starts a blink: shadow 0x00RRGGBB, or -1 for none. Errors: `std::invalid_argument` for any
  /// other.
  xo::Future<void> xBlinkOnce(int eyeShadow);

  // Conversions (hbleds_convert.cpp). `method` is named in the text of an error, always a
  // `std::invalid_argument`. The extractors and `xToHBValue` are kept for commands that take or
  // give untyped values; none does now.
  float xExtractFloat(const HBValue& value, const std::string& method) const;
  std::string xExtractString(const HBValue& value, const std::string& method) const;
  /// Errors: also for an empty list; the HBValue's own for what is not a list.
  std::vector<float> xExtractVectorOfFloatsFromHBValue(const HBValue& value,
                                                       const std::string& method) const;
  std::vector<std::string> xExtractVectorOfStringsFromHBValue(const HBValue& value,
                                                              const std::string& method) const;
  HBValue xToHBValue(const std::vector<float>& values) const;
  HBValue xToHBValue(const std::vector<std::string>& values) const;
  std::string xToString(unsigned short number) const;
  /// Fixed notation, six digits after the point, at least eight characters.
  std::string xFloatToString(float number) const;
  std::string xDecToString(int number) const;
  /// Whether it lies in 0..1, bounds included; NaN does not.
  bool xIsFraction(float number) const;

  // Defined in hbleds.cpp, in this order.
  static const xo::log::Category fLog;
  static const std::string fEarLedPrefix;
  static const std::string fServiceNameSignsAndFeedback;

  // Made in this order, released in reverse.
  /// The way in for everything that runs later: closed before any other member goes, and still
  /// there to refuse the last tick and the last expiry until their threads are joined.
  std::unique_ptr<xo::TaskGroup> fTasks;
  /// Ear positions "EarLed1", "EarLed2", ... without a gap.
  std::int32_t fEarLedCount;
  DeviceTable fLedNameToDevices;
  /// A device is in a group exactly when the group is in the device's `LedInfo::groups`.
  DeviceTable fGroupToDevices;
  std::map<std::string, std::unique_ptr<LedInfo>> fDeviceInfos;
  /// Guards the three tables above and the settings in LedInfo. With the C library's default a
  /// waiting writer lets readers pass, so only a holder that is exclusive keeps commands out: a
  /// `createGroup` that waits for a long animation must not stop everybody else.
  mutable std::shared_mutex fLedsMutex;
  std::set<std::string> fDeprecatedLeds;
  std::shared_ptr<HBMemoryProxy> fMemoryProxy;
  /// Empty when the service could not be had: writes are then skipped.
  xo::Object fMotion;
  /// Set by the first write that names a device; a record that nothing reads.
  std::atomic<bool> fLedsCommanded;
  boost::shared_ptr<PassiveBlinking> fPassiveBlinking;
  std::shared_ptr<xo::Session> fSession;
  boost::shared_ptr<EyesRotationASR> fEyesRotationASR;
  boost::shared_ptr<EarsRotationASR> fEarsRotationASR;
  /// Turns a device name into its key in the motion service and in the memory.
  std::string fDevicePrefix;
};

}  // namespace HB
