// The upgrade of a state that an earlier version of the program wrote.

#include "WebService/Storage/Schema.h"

#include "Support/TemporaryFolder.h"
#include "WebService/Outbox/OutboxLedger.h"

#include <gtest/gtest.h>

namespace webservice {

TEST(AStateOfTheFirstVersion, IsBroughtToThePresentOne) {
    const test::TemporaryFolder folder;
    {
        StateDatabase db(folder.path("state.db").string());
        // What the later versions have added is taken away again, as if it had never been.
        db.script("PRAGMA foreign_keys = OFF; DROP TRIGGER upload_added; DROP TRIGGER upload_changed; "
                  "DROP TABLE upload_counts; DROP TABLE transfers; DROP TABLE computer_maps; DROP TABLE deletions; "
                  "DROP TABLE cloud; DROP TABLE requests; DROP TABLE files; DROP TABLE mails; DROP TABLE computers; "
                  "DROP TABLE users; PRAGMA user_version = 1; "
                  "INSERT INTO uploads (computer, name, is_file, position, state) "
                  "VALUES ('7', '\\a', 1, 1, 'acknowledged')");
    }
    StateDatabase db(folder.path("state.db").string());
    Query row = db.query("SELECT name, (SELECT count(*) FROM transfers) FROM uploads");
    ASSERT_TRUE(row.next());
    EXPECT_EQ(row.text(0), "\\a");
    EXPECT_EQ(row.integer(1), 0);
    EXPECT_EQ(OutboxLedger(db).count("acknowledged", "7"), 1);
}

} // namespace webservice
