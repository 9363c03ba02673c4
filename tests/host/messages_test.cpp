#include "host/messages.hpp"

#include <gtest/gtest.h>

namespace mspc {
namespace {

TEST(MessageTable, CauseCodesMapToTheirTextsAndReservedOtherwise) {
  EXPECT_EQ(CauseText(6), "The variable has been deleted because it has no variance.");
  EXPECT_EQ(CauseText(41), "DontTranslate!!scBMPLS_zero_YVariance");
  // Outside 1..41, and the gaps in it (ids with no text in the table), are reserved.
  for (int code : {0, 7, 11, 42, -1, 1000}) EXPECT_EQ(CauseText(code), "Reserved") << code;
}

TEST(MessageFormat, PrintfConversionsAndVerbatimTextsWithoutArguments) {
  EXPECT_EQ(FormatMessage(MessageId::kTooManyTrainingCases, 5000),
            "Too many training cases selected. The maximum number of training cases is 5000.");
  EXPECT_EQ(
      FormatMessage(MessageId::kVariableTooLowPercentValidCases, 12.345, std::string("x1"), 20.0),
      "The percentage of valid cases (12.35%) for variable x1 is fewer than the required "
      "minimum percentage of valid cases (20.00%). The analysis stops.");
  // "(%)" must come out as written when the text takes no argument.
  EXPECT_EQ(
      FormatMessage(MessageId::kMinPercentValidCasesTooLow),
      "Minimum percentage of valid cases per variable (%) must be greater than or equal to 20.");
}

}  // namespace
}  // namespace mspc
