package parts;

/** A class in a package, which the manifest of its jar tells about. */
public class Part {
}
