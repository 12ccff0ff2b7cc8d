// What --help prints, and the names in it that other files need.
#include <array>

#include "tools/ledctl/options.h"

namespace ledctl {

namespace {

constexpr auto kHelp = R"(ledctl drives a robot's LEDs from the command line.

  ledctl setIntensity FaceLeds 0.5              half bright
  ledctl fadeRGB FaceLeds red 1.0               to red within a second
  ledctl --wait fadeRGB FaceLeds 0x0000ff 2     to blue, and come back when it is done
  ledctl fadeListRGB FaceLeds '[0xff0000,255]' '[1,2]'
  ledctl listGroups                             names to use
  ledctl createGroup G '["FaceLeds","ChestLeds"]'
  ledctl watch                                  the robot on the whole terminal; q ends it
  ledctl watch 'Face/*'                         what these LEDs do now; Ctrl-C ends it
  ledctl describe fadeRGB                       all about one command
  ledctl --service HBMemory getData KEY         another service of the robot

Usage: ledctl [OPTIONS] COMMAND [ARGUMENT...]

Commands:
  METHOD [ARGUMENT...]     call a method of the service; 'ledctl methods' lists them
  call METHOD [ARGUMENT..] the same, for a method named like one of the commands below
  methods                  one line for each form of each method
  describe [METHOD]        the documentation of a method, or of the whole service
  services                 the robot's services
  watch                    the robot, its LEDs lit as they are now; lines when piped
  watch PATTERN            values of the robot's memory as they change
  doctor                   what runs where, and what is wrong with it
  bench [METHOD [ARG..]]   how long calls take (default: HBRobotModel getRobotName, 1000 times)

Arguments are read as the method asks for them: numbers (also 0xff, nan, inf), true or false,
lists as JSON ('[1,2]', '["a","b"]'), else text. After -- every word is an argument: on -- -name.

Options:
  --robot ADDRESS   HOST:PORT or unix:PATH (default: LEDCTL_ROBOT, else the configuration's,
                    else this user's robot)
  --tls             encrypted, the robot's certificate being one that this system trusts
  --tls-ca FILE     encrypted, its certificate being one that these authorities (PEM) vouch for
  --insecure        the token may travel unencrypted, where others can read it
  --tls-name NAME   the name in its certificate, when that is not the address's host
  --token-file FILE who you are, to robots that ask: a file of mode 0600 (default: TAVRO_TOKEN,
                    which goes over TLS and to this machine only)
  --service NAME    the service to call (default: HBLeds)
  --wait            when the method returns a future, wait for its end
  --json            print JSON
  --plain           nothing but lines of text: no colours, nothing drawn in place, no progress
  --count N         watch: end after N updates, the first being the values at the start;
                    bench: N calls
  --for SECONDS     watch: end after that time
  --version, --help

Configuration: $XDG_CONFIG_HOME/ledctl/config, or ~/.config/ledctl/config, says which robot and how:
lines such as 'address = HOST:PORT', 'token-file = FILE', 'tls-ca = FILE', 'tls-name = NAME'. What
an option or a variable says goes before it; of another robot's address nothing in it is used.

Without colours: NO_COLOR. Man page: ledctl(1). Completion: tools/ledctl/completion/ledctl.bash.

Exit status: 0 done, 1 the call failed (its text on standard error) or the doctor found something
wrong, 2 wrong usage, 3 the robot was not reached, 130 ended by Ctrl-C.
)";

constexpr std::array<OptionName, 14> kOptions{{{"--robot", true},
                                               {"--tls", false},
                                               {"--tls-ca", true},
                                               {"--insecure", false},
                                               {"--tls-name", true},
                                               {"--token-file", true},
                                               {"--service", true},
                                               {"--wait", false},
                                               {"--json", false},
                                               {"--plain", false},
                                               {"--count", true},
                                               {"--for", true},
                                               {"--version", false},
                                               {"--help", false}}};

constexpr std::array<std::string_view, 7> kCommands{"bench",   "call",     "describe", "doctor",
                                                    "methods", "services", "watch"};

}  // namespace

std::span<const OptionName> optionNames() { return kOptions; }

std::span<const std::string_view> commandNames() { return kCommands; }

std::string helpText() { return kHelp; }

}  // namespace ledctl
