/* A handler library without the entry point. */
int COMMON_Log_writev_but_not_quite(void);

int COMMON_Log_writev_but_not_quite(void)
{
    return 0;
}
