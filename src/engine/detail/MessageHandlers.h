// SPDX-License-Identifier: Apache-2.0
#pragma once

class kdu_message;

namespace j2k
{

/// What kdu_customize_warnings and kdu_customize_errors installed; null for none. Thread-safe.
kdu_message* GetWarningHandler();
kdu_message* GetErrorHandler();

} // namespace j2k
