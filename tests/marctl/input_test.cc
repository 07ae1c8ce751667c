// Bad input: one line that says where and what is allowed, status 2, and nothing is sent.
#include <gtest/gtest.h>

#include "tests/marctl/marctl.h"

namespace mar {

TEST(MarctlInput, IsRefusedWithItsPlaceAndWhatIsAllowed) {
  EngineThread engine;
  const std::string deep(100000, '['), too_long(1100000, ' ');
  const std::string long_host =
      "{\"message\":\"add-edge-policy\",\"payload\":{\"host\":\"" + std::string(256, 'h') + "\"}}";
  const struct {
    std::string arguments, input, output;
  } rows[] = {
      {"debug --level 4294967296", "", "--level: 4294967296 is not a number from 0 to 4294967295"},
      {"debug --level 18446744073709551617", "",
       "--level: \"18446744073709551617\" is not a number from 0 to 4294967295"},
      {"debug --level 1.0", "", "--level: \"1.0\" is not a number from 0 to 4294967295"},
      {"debug --level -1", "", "--level: -1 is not a number from 0 to 4294967295"},
      {"debug --level ''", "", "--level: \"\" is not a number from 0 to 4294967295"},
      {"debug", "", "debug: --level is missing: a number from 0 to 4294967295"},
      {"debug --level 1 --level 2", "", "--level: At Most 1 required but received 2"},
      {"nonsense", "", "there is no command \"nonsense\"; marctl --help lists them"},
      {"set-listener-filter --filter 1,2,3", "",
       "--filter: an array of 3 is not an array of 4 numbers, separated by commas"},
      {"remove-threshold --a 1 --c 1 --identifier 00zz", "", "--identifier: \"00zz\" is not 48 hex digits"},
      {"request-data-upload --policy 0", "", "--policy: 0 is not a number from 1 to 2147483647"},
      {"set-correlator-suffix --suffix $(printf %0513d 0)", "",
       "--suffix: a text of 513 bytes is not a text of at most 512 bytes"},
      {"--instance a/b dump", "", "--instance: an instance name has no slash"},
      {"debug --file -", "{\n  \"level\": 2,\n}", "standard input: not JSON at line 3, column 1"},
      {"debug --file -", "", "standard input: not JSON at line 1, column 1"},
      {"debug --file -", deep, "standard input: not JSON at line 1, column 100001"},
      {"debug --file -", too_long, "standard input: longer than 1048576 bytes"},
      {"debug --file -", "[2]", "standard input: an array of 1 is not an object of fields"},
      {"debug --file -", "{\"level\":2,\"level\":2}",
       "standard input: the member \"level\" comes twice in an object"},
      {"debug --file -", "{\"levels\":2}",
       "standard input: there is no field \"levels\"; the fields are level"},
      {"debug --file -", "{}",
       "standard input: the field \"level\" is missing: a number from 0 to 4294967295"},
      {"debug --file -", "{\"level\":2.0}",
       "standard input: /level: 2.0 is not a number from 0 to 4294967295"},
      {"debug --file -", "{\"level\":99999999999999999999}",
       "standard input: /level: 1e+20 is not a number from 0 to 4294967295"},
      {"debug --file /var/zarn", "", "/var/zarn: cannot be read"},
      {"debug --file /none", "", "/none: No such file or directory"},
      {"set-listener-filter --file -", "{\"filter\":[1,2,-3,4]}",
       "standard input: /filter/2: -3 is not a number from 0 to 4294967295"},
      {"set-correlator-suffix --file -", "{\"suffix\":\"abc\",\"length\":4}",
       "standard input: /length: the suffix has 3 bytes, and the length may say nothing else"},
      {"batch /var/zarn/input", "dump\n\n# a remark\n{\"message\":\"debug\",\"payload\":{\"level\":-1}}",
       "/var/zarn/input:4: /payload/level: -1 is not a number from 0 to 4294967295"},
      {"batch /var/zarn/input", "dump\n" + long_host,
       "/var/zarn/input:2: /payload/host: a text of 256 bytes is not a text of at most 255 bytes"},
      {"batch /var/zarn/input", "dump\n{\"message\":\"add-edge-policy\",\"payload\":{\"host\":\"a\\u0000\"}}",
       "/var/zarn/input:2: /payload/host: the text contains a NUL, which would end it"},
      {"batch /var/zarn/input", "dump\n{\"message\":\"add-edge-policy\",\"payload\":{\"host\":\"\\ufffd\"}}",
       "/var/zarn/input:2: /payload/host: the text contains U+FFFD, which stands for bytes that a recording "
       "has lost"},
      {"batch /var/zarn/input", "dump\n{\"message\":\"dump\",\"times\":2}",
       "/var/zarn/input:2: there is no member \"times\"; a line has the members message and payload"},
      {"batch /var/zarn/input", "dump\n{\"event\":\"request\",\"message\":\"start-send\",\"payload\":{}}",
       "/var/zarn/input:2: /message: there is no command \"start-send\" that can be sent; marctl --help "
       "lists them"},
      {"batch /var/zarn/input", "dump\ndebug --level '2", "/var/zarn/input:2: the quote ' is not closed"},
      {"batch /var/zarn/input", "dump\ndebug --help",
       "/var/zarn/input:2: The following argument was not expected: --help"},
      {"batch /var/zarn/input", "dump\n" + too_long + "\ndump",
       "/var/zarn/input:2: longer than 1048576 bytes"},
      {"batch /none", "", "/none: No such file or directory"},
      {"batch /var/zarn", "", "/var/zarn: Is a directory"},
  };
  for (const auto& row : rows) {
    const Ran ran = marctl(row.arguments, row.input);
    EXPECT_EQ(ran.status, 2) << row.arguments;
    EXPECT_EQ(ran.output, "marctl: " + row.output + "\n") << row.arguments;
  }
  EXPECT_EQ(marctl("--json nonsense").output,
            "{\"status\":2,\"outcome\":\"bad-input\",\"text\":\"there is no command \\\"nonsense\\\"; marctl "
            "--help lists them\"}\n");
  EXPECT_EQ(engine.requests().size(), 0u);
}

}  // namespace mar
