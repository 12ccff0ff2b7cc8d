"""Faults that somebody could make, one at a time: where, what stands there, what it becomes, and the
test program that must notice, by those of its tests that are about it."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Fault:
    what: str
    file: str
    was: str
    becomes: str
    program: str
    filter: str = "*"


ANIMATION = "hardware/leds/src/hbleds_animation.cpp"
BLINKING = "hardware/leds/src/passiveblinking.cpp"
INVENTORY = "hardware/leds/src/hbleds_inventory.cpp"
WRITE = "hardware/leds/src/hbleds_write.cpp"

FAULTS = (
    # The LED service.
    Fault("rasta forgets the lock", ANIMATION,
          "  const std::shared_lock lock(fLedsMutex);\n  xSetGroupIntensity(\"AllLeds\", 0, 0);",
          "  xSetGroupIntensity(\"AllLeds\", 0, 0);",
          "leds_test", "*Rasta*:*Lock*:Concurrency*:*Animation*"),
    Fault("the ears exclude other commands", ANIMATION,
          "  if (fEarLedCount == 0) return;\n\n  const std::shared_lock lock(fLedsMutex);",
          "  if (fEarLedCount == 0) return;\n\n  const std::unique_lock lock(fLedsMutex);",
          "leds_test", "Ear*:*Lock*:Concurrency*:*Animation*"),
    Fault("rasta cannot be stopped", ANIMATION, "    if (isStopRequired(methodId)) break;\n", "",
          "leds_test", "*Rasta*:*Animation*"),
    Fault("rasta is as long as asked", ANIMATION, "1000 * 1.1F", "1000 * 1.0F",
          "leds_test", "*Rasta*"),
    Fault("turns are summed in double precision", ANIMATION, "  float elapsed = 0;",
          "  double elapsed = 0;", "leds_test", "RotateEyes*:*Animation*"),
    Fault("a day may be exceeded by what is no number", ANIMATION,
          "seconds >= 0 && seconds <= kSecondsPerDay",
          "!(seconds < 0) && !(seconds > kSecondsPerDay)", "leds_test", "RotateEyes*:*Animation*"),
    Fault("a blink closes the wrong position", "hardware/leds/src/blink.cpp",
          "draw(2, kOpen),\n    draw(3, kClosed)", "draw(2, kClosed),\n    draw(3, kClosed)",
          "leds_test", "Blink*"),
    Fault("a blink is seen as cancelled at every other step only", "hardware/leds/src/blink.cpp",
          "    if (fPromise.isCancelRequested())",
          "    if (fNext % 2 == 0 && fPromise.isCancelRequested())", "leds_test", "Blink*"),
    Fault("passive blinking does not know that it is paused", BLINKING,
          "  if (fRunning == 0 || fPaused == 1) return;", "  if (fRunning == 0) return;",
          "leds_test", "*Blinking*:*Guard*"),
    Fault("passive blinking ends without its last blink", BLINKING,
          "  fCurrentBlink.wait(xo::kInfiniteTimeout);\n", "", "leds_test", "*Blinking*:*Blink*"),
    Fault("every command resumes passive blinking",
          "hardware/leds/src/scopeddisablepassiveblinking.cpp",
          "  if (count == 0 && fPassiveBlinking) {", "  if (fPassiveBlinking) {",
          "leds_test", "*Guard*"),
    Fault("a disabled rotation turns", "hardware/leds/src/ledsrotationasr.cpp",
          "    if (!fStarted || !fEnabled) return;", "    if (!fStarted) return;",
          "leds_test", "*Rotation*"),
    Fault("the ratio is forgotten", WRITE,
          "atKey(fDeviceInfos, device)->intensityRatio * intensity", "intensity",
          "leds_test", "*Ratio*:WritePath*"),
    Fault("a quotient that is no number is handed out", WRITE,
          "std::min(1.0F, stored / atKey(fDeviceInfos, device)->intensityRatio)",
          "std::min(stored / atKey(fDeviceInfos, device)->intensityRatio, 1.0F)",
          "leds_test", "*Ratio*:*Intensity*"),
    Fault("a replaced group stays with its old members", INVENTORY,
          "      atKey(fDeviceInfos, device)->groups.erase(groupName);\n", "",
          "leds_test", "Inventory*"),
    Fault("createGroup lets others look on", INVENTORY,
          "  const std::unique_lock lock(fLedsMutex);\n  for (const auto& name : ledNames) {",
          "  const std::shared_lock lock(fLedsMutex);\n  for (const auto& name : ledNames) {",
          "leds_test", "*Lock*:Concurrency*:Inventory*"),
    # The framework.
    Fault("a dropped promise leaves its future waiting", "framework/xo/future.cpp",
          "    if (fState->state() != FutureState::kRunning) return;\n    fState->finishError(",
          "    return;\n    fState->finishError(", "xo_test", "*Future*:*Promise*"),
    Fault("a late cancellation is not heard", "framework/xo/future.cpp",
          "    if (!fCancelRequested) {\n      fOnCancel", "    if (true) {\n      fOnCancel",
          "xo_test", "Future*:Promise*:EventLoop*"),
    Fault("a gate closes without waiting", "framework/xo/gate.cpp",
          "  while (fInside > 0) clock().waitUntil(lock, fEmpty, kNever);\n", "",
          "xo_test", "Gate*"),
    Fault("a tick that comes late comes many times", "framework/xo/periodic_task.cpp",
          "      if (next < now) next =", "      if (false) next =", "xo_test", "PeriodicTask*"),
    Fault("a delay ends at the wrong side of its instant", "framework/xo/event_loop.cpp",
          "fTimers.begin()->first.first <= now", "fTimers.begin()->first.first < now", "xo_test",
          "EventLoop*"),
    # The services.
    Fault("a key frame at the same time stays", "services/motion/src/animator.cpp",
          "  bool isFree = place == kResting || fEnd[static_cast<std::size_t>(place)] >= at;",
          "  bool isFree = place == kResting || fEnd[static_cast<std::size_t>(place)] > at;",
          "motion_test", "Animator*"),
    Fault("of equal times the first holds", "services/motion/src/animator.cpp",
          "    if (next == at) continue;  // of equal times the last holds\n", "",
          "motion_test", "Animator*"),
    Fault("a value that stayed is told as a change", "services/memory/src/store.cpp",
          "  if (std::bit_cast<std::uint32_t>(before) == std::bit_cast<std::uint32_t>(value)) return;\n",
          "", "memory_test", "Store*"),
    Fault("a bad handle is found out too late", "services/memory/src/store.cpp",
          "      if (place >= fHasHandle.size() || !fHasHandle[place]) {",
          "      if (place >= fHasHandle.size()) {", "memory_test", "Store*"),
    # The door.
    Fault("one more group than allowed", "access/quotas.cpp",
          "count.names.size() >= count.quota.most", "count.names.size() > count.quota.most",
          "access_test", "Quota*"),
    Fault("what failed counts", "access/quotas.cpp",
          "found->second.isMade = found->second.isMade || fHasSucceeded;",
          "found->second.isMade = true;", "access_test", "Quota*"),
    Fault("a viewer may call", "access/access.cpp",
          "  if (client.role != Role::kOperator && !isOnlyReading) "
          "requireOperator(client, \"Calling methods\");\n",
          "  (void)isOnlyReading;\n", "access_test", "Role*"),
    Fault("a robot that others reach needs no token", "access/security.cpp",
          "  verdict.needsToken = exposure.hasTokens;\n", "", "access_test", "Judge*:LetIn*"),
    # The wire.
    Fault("a lender that is silent is waited for", "remote/server/lend_watch.cpp",
          "next = std::min(next, lender->pingDue(now));", "(void)lender;", "remote_test", "Lend*"),
    Fault("an error that is no UTF-8 is changed on its way", "remote/proto/convert.cpp",
          "    wire->set_raw_text(text);\n", "", "remote_test", "Convert*:Call*:Wire*"),
    Fault("a module's error changes its type on its way", "remote/proto/convert.cpp",
          "  if (kind == \"HBError\") return std::make_exception_ptr(HB::HBError(text));\n", "",
          "remote_test", "Convert*:RemoteSession*:Lend*"),
    Fault("lists may nest without end", "access/access.cpp",
          "    if (depth >= fLimits.nestedLists) {", "    if (false) {",
          "access_test", "*Limits*:AccessTest*"),
    Fault("positions that are no numbers pass", "framework/sim/attributes.cpp",
          "!(value >= least && value <= most)", "value < least || value > most",
          "sim_test", "*Refused*:Model*"),
)
