// Programs that answer for days.
#include "tests/bus/bus_test.h"

#include <cstdlib>

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr long allowed_growth = 1 << 30; // what is freed is kept for a while: it tells nothing
#else
constexpr long allowed_growth = 64; // KB: the desktop program's console keeps its text
#endif

class BusGrowth : public bus_test, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Desktop, BusGrowth, testing::Bool());

} // namespace

TEST_P(BusGrowth, HundredsOfRequestsLeaveNothingBehind)
{
    // What it prints is more than a pipe holds that nobody reads.
    program_call call = GetParam() ? desktop_call({}) : user.call({"serve"});
    call.arguments.insert(call.arguments.begin(),
                          {"sh", "-c", "exec \"$0\" \"$@\" > /dev/null 2>&1"});
    program = std::make_unique<running_program>(call);
    ASSERT_TRUE(wait_for_names());
    const program_result result =
        python("own, process = dbus.Interface(papermill, name), '/proc/' + sys.argv[1]\n"
               "def run(times):\n"
               "    for i in range(times):\n"
               "        assert own.Exec('true', '', signature='ss', timeout=300) == 0\n"
               "def memory():\n"
               "    return [int(line.split()[1]) for line in open(process + '/status')\n"
               "            if line.startswith('VmRSS:')][0]\n"
               "def descriptors(): return len(os.listdir(process + '/fd'))\n"
               "def grow():\n"
               "    before = descriptors(), memory()\n"
               "    run(300)\n"
               "    return descriptors() - before[0], memory() - before[1]\n"
               "run(400)\n"
               "growth = grow()\n"
               "for times in range(3):\n" // the heap may take a page more now and then
               "    if growth[1] > int(sys.argv[2]): growth = grow()\n"
               "print(*growth)\n",
               {std::to_string(program->pid()), std::to_string(allowed_growth)});
    ASSERT_EQ(result.status, 0) << story(result);
    char *end = nullptr;
    EXPECT_LE(std::strtol(result.out.c_str(), &end, 10), 0) << "descriptors";
    EXPECT_LE(std::strtol(end, nullptr, 10), allowed_growth) << "KB";
    RecordProperty("figures", result.out);
}
