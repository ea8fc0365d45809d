#pragma once

// Which sanitizer the tests are compiled for, whose compilers tell it in ways of their own.

#ifndef __has_feature
#define __has_feature(x) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
#define READER_ADDRESS_SANITIZER
#endif

#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#define READER_THREAD_SANITIZER
#endif
