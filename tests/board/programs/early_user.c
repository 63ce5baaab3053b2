/* Prints how the device opened in its library's constructor, before main(). */
void early_report(void);

int main(void)
{
    early_report();
    return 0;
}
