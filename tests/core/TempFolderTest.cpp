#include "LumbroCore/TempFolder.h"

#include <gtest/gtest.h>

namespace lumbro {
namespace {

TEST(TempFolder, isNeverTheRootOfTheDisk) {
    const QByteArray before = qgetenv("TMPDIR");
    const struct {
        QByteArray variable;
        QString folder;
    } rows[] = {{"/usr", u"/usr"_s}, {"/no/such/folder", u"/tmp"_s}, {"", u"/tmp"_s}};
    for (const auto& row : rows) {
        qputenv("TMPDIR", row.variable);
        EXPECT_EQ(tempFolder(), row.folder);
    }
    before.isNull() ? qunsetenv("TMPDIR") : qputenv("TMPDIR", before);
}

}  // namespace
}  // namespace lumbro
