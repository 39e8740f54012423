install(TARGETS tvk zed EXPORT tvkTargets FILE_SET HEADERS)
