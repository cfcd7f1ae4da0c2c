import com.zelvox.qorbetta.*;

/** Opens a valve as soon as a level is above 3. What it answers depends on its input at once. */
public class Controller extends FieldModel {
    @Input double level;
    @Output double valve;

    @Override
    protected void initialize() {
        valve = level > 3 ? 1 : 0;
    }

    @Override
    protected void step(double time, double stepSize) {
        initialize();
    }
}
