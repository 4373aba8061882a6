#pragma once

namespace cli::version {

/// The copyright line and the title of the agreement.
inline constexpr char COPYRIGHT_TEXT[] =
    "Copyright (C) 2026 Velko. All rights reserved.\n"
    "Velko End-User License Agreement\n";

inline constexpr char AGREEMENT_TEXT[] =
    R"(By using this software you accept the terms below. If you do not accept them, do not use it.

1. Grant. Velko grants you a free, non-exclusive, worldwide right to install the software and to use it, unmodified, for
   managing Velko solid-state drives, on any number of computers.

2. Copies. You may copy the software and pass it on, complete and together with this agreement. You may not sell it.

3. Your data. Some commands of the software erase drives, change their settings or replace their firmware, and cannot be
   undone. Back up your data before you use them.

4. No warranty. The software is provided "as is", without warranty of any kind, express or implied, including those of
   merchantability and of fitness for a particular purpose.

5. Liability. As far as the law allows, Velko is not liable for loss of data, loss of profit or any indirect or
   consequential damage that arises from the use of the software.

6. Termination. This agreement ends when you break its terms. You must then delete all copies of the software.
)";

}  // namespace cli::version
