#pragma once

class QComboBox;

namespace config {

// Fills the scanner setup's port box: the port numbers 1 to 4 as the original wrote them (" 1"
// to " 4"), then the serial devices the system has, each under the name a setting stores (a
// stable name where the system has one, so that a scanner that comes back as another device is
// found again) and labelled in the open list with what the system knows of it.
void FillPortChoices(QComboBox& combo);

} // namespace config
