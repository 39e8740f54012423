int OnlyInInner(void) { return 1; }
int InBoth(void) { return 2; }
