// Holds nothing: a target must have a source before headers can be precompiled for it.
