# Programs that call real libraries which choose their code at run time
# (filled in next).
