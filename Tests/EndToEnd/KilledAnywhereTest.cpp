// The service is killed at every system call of its work on an item, and started again: every item arrives. What each
// starting state comes to:
//
//   starting state                        compatible mode                            managed mode
//                                         in its place    in the temporary area
//   nothing is there                      the item        nothing (*)                the item, nothing (**)
//   a partial file of one byte            the item        nothing (*)                the item, nothing
//   a partial file of all bytes           the item        nothing (*)                the item, nothing
//   a partial file with more bytes        the partial     nothing (*)                the item, nothing
//   an older file is in the place         the older file  the item                   the item, nothing
//   the folder of the place is missing    nothing         the item                   the item, nothing
//   the item is a folder                  the item        nothing                    the item, nothing
//   two items wait                        the items       nothing (*)                the items, nothing
//   the place is on another file
//   system                                the item        nothing (*)                the item, nothing
//   so it is, and an older file is there                                             the item, nothing
//   one byte came before the server cut the download off (***)                       the item, nothing
//   all bytes came before                                                            the item, nothing
//   more bytes came before the item became shorter                                   the item, nothing
//
// (*) An item that was placed, but not acknowledged, before the kill is fetched again, and cannot be moved into its own
// place: the temporary file stays.
//
// (**) The record of an item whose acknowledgement's response was not read any more stays, here and below: the service
// cannot know that the item will not be offered again.
//
// (***) In compatible mode that is the partial file above. In managed mode those above are of no item, and have other
// bytes.
//
// Every item is acknowledged once, and is in its place by then. Compatible mode has to acknowledge it all the same
// where it cannot be placed. What was written before the kill is not fetched again; in managed mode a partial file
// counts where it is known to be the item's.

#include "EndToEnd/KilledServiceFixture.h"

namespace Quenmark {

using Partial = KillCase::Partial;
using Placed = KillCase::Placed;
using Left = KillCase::Left;

class AServiceThatIsKilled : public KilledServiceFixture {};

TEST_P(AServiceThatIsKilled, FinishesAnItemOfWhichNothingWasThere) {
    killEverywhere({});
}

TEST_P(AServiceThatIsKilled, FinishesAnItemOfWhichOneByteWasThere) {
    killEverywhere({.partial = Partial::OneByte});
}

TEST_P(AServiceThatIsKilled, FinishesAnItemOfWhichAllBytesWereThere) {
    killEverywhere({.partial = Partial::AllBytes});
}

TEST_P(AServiceThatIsKilled, FinishesAnItemWhosePartialFileIsLonger) {
    killEverywhere({.partial = Partial::MoreThanAllBytes, .placed = Placed::ThePartialFile});
}

TEST_P(AServiceThatIsKilled, FinishesAnItemInWhosePlaceAnOlderFileIs) {
    killEverywhere({.hasOlderFile = true, .placed = Placed::AnOlderFile, .left = Left::TheItem});
}

TEST_P(AServiceThatIsKilled, FinishesAnItemWhoseFolderIsMissing) {
    killEverywhere({.items = {"Missing/a.txt"}, .placed = Placed::Nothing, .left = Left::TheItem});
}

TEST_P(AServiceThatIsKilled, FinishesAFolder) {
    killEverywhere({.items = {"New/"},
                    .left = Left::Nothing,
                    .fewestKills = 20,
                    .calls = {"sendto", "recvfrom", "mkdir", "fsync"}});
}

TEST_P(AServiceThatIsKilled, FinishesTwoItems) {
    killEverywhere({.items = {"Docs/a.txt", "Docs/b.txt"}, .fewestKills = 70});
}

TEST_P(AServiceThatIsKilled, FinishesAnItemThatIsCopiedToAnotherFileSystem) {
    killEverywhere({.isOnAnotherFileSystem = true, .calls = {"fsync", isManaged() ? "rename" : "linkat", "unlinkat"}});
}

INSTANTIATE_TEST_SUITE_P(Variations, AServiceThatIsKilled,
                         ::testing::Values(modern, wrapper, managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

class AManagedServiceThatIsKilled : public KilledServiceFixture {};

TEST_P(AManagedServiceThatIsKilled, FinishesAnItemOfWhichItHadOneByte) {
    killEverywhere({.partial = Partial::OneByte, .isFromCutDownload = true});
}

TEST_P(AManagedServiceThatIsKilled, FinishesAnItemOfWhichItHadAllBytes) {
    killEverywhere({.partial = Partial::AllBytes, .isFromCutDownload = true});
}

TEST_P(AManagedServiceThatIsKilled, FinishesAnItemThatHasBecomeShorterThanItsPartialFile) {
    killEverywhere({.partial = Partial::MoreThanAllBytes, .isFromCutDownload = true});
}

TEST_P(AManagedServiceThatIsKilled, ReplacesAFileOnAnotherFileSystem) {
    killEverywhere(
        {.hasOlderFile = true, .isOnAnotherFileSystem = true, .calls = {"fsync", "flock", "rename", "unlinkat"}});
}

INSTANTIATE_TEST_SUITE_P(Variations, AManagedServiceThatIsKilled, ::testing::Values(managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
