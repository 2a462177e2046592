// Reading openssl's answers: the subject's fields and the end date.
#include <gtest/gtest.h>

#include <string>

#include "provision/upgrade.h"

namespace pv = phonecore::provision;

namespace {

TEST(SubjectField, StopsAtACommaOrALineEnd) {
  const char* line = "        Subject: C = CN, O = Quorbit, CN = prov.example\n";
  EXPECT_EQ(pv::subject_field(line, "CN = "), "prov.example");
  EXPECT_EQ(pv::subject_field(line, "O = "), "Quorbit");
  EXPECT_EQ(pv::subject_field("CN = a\rb", "CN = "), "a");
  EXPECT_EQ(pv::subject_field("CN = \"x, y\"", "CN = "), "\"x");
}

TEST(SubjectField, AnAbsentLabelGivesNothing) {
  EXPECT_EQ(pv::subject_field("Subject: C = CN", "CN = "), "");
  EXPECT_EQ(pv::subject_field("", "O = "), "");
  EXPECT_EQ(pv::subject_field("CN = ", "CN = "), "");
}

// The first occurrence wins, wherever it stands; "OU = " does not hold
// "O = ".
TEST(SubjectField, TakesTheFirstOccurrence) {
  EXPECT_EQ(pv::subject_field("Subject: CN = a, O = first, O = second", "O = "), "first");
  EXPECT_EQ(pv::subject_field("Subject: OU = unit, O = org", "O = "), "org");
}

TEST(SubjectField, IsCutAt63Characters) {
  const std::string line = "CN = " + std::string(100, 'n');
  EXPECT_EQ(pv::subject_field(line.c_str(), "CN = "), std::string(63, 'n'));
}

TEST(EndDate, KeepsCommasAndStopsAtTheLineEnd) {
  EXPECT_EQ(pv::end_date("notAfter=Dec 23 10:00:00 2026 GMT\n"), "Dec 23 10:00:00 2026 GMT");
  EXPECT_EQ(pv::end_date("notAfter=a, b\r\n"), "a, b");
  EXPECT_EQ(pv::end_date("notBefore=x"), "");
  EXPECT_EQ(pv::end_date(("notAfter=" + std::string(80, 'd')).c_str()), std::string(63, 'd'));
}

}  // namespace
