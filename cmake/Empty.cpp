// Nothing: what is compiled here is the precompiled header.
