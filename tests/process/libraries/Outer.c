int OnlyInInner(void);
int InBoth(void) { return 3; }
int CallsInner(void) { return OnlyInInner(); }
