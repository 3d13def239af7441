// SPDX-License-Identifier: MIT
#pragma once

#include <QApplication>

#include <memory>

/// The application object on the person's display. Where Qt would abort for want of one, the program
/// ends with code 1 and one sentence that says what to do. `argc` must outlive the object.
[[nodiscard]] std::unique_ptr<QApplication> openDisplay(int& argc, char* argv[]);
