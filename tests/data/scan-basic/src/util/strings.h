#pragma once
char *upper(char *s);
