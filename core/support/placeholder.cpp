namespace kernova {}
