// link: kelm_queue kelm_testing
// A queue over a folder of any names and contents, worked on by any operations, must do what the
// model of its rules does.

#include "fuzz/support/silence.h"
#include "fuzz/support/target.h"
#include "tests/queue/folder_world.h"

void kelm::fuzz::run(DataView input) {
  silenceLog();
  testing::FolderWorld(input).run();
}
