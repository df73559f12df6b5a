// The object that carries the precompiled header every target shares.
