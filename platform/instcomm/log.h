#pragma once

namespace instcomm
{

// Opens the install log for all messages of the process. Without it, each message opens the log and closes it again.
void keep_log_open();

} // namespace instcomm
