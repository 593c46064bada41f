// The account's part of the preferences: which backend, who is signed in, and the ways in and out.
#pragma once

namespace qs {

struct FormGroup;

FormGroup accountGroup();  // as things stand now; main thread

}  // namespace qs
