#pragma once

/// How many descriptors may still be added to an epoll by this program; INT_MAX for no limit. The kernel's limit of
/// watches is a limit of the user's (epoll(7), max_user_watches).
extern int watchesLeft;
