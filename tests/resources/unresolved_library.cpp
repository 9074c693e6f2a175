// A library that needs a function which nobody has.

int WhatNobodyHas();

__attribute__((visibility("default"))) int CallWhatNobodyHas() { return WhatNobodyHas(); }
